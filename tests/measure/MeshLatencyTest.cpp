#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "measure/CountPackets.h"
#include "measure/CountRun.h"
#include "measure/RunMeasures.h"
#include "tests/support/Command.h"
#include "tests/trace/support/Opened.h"
#include "trace/read/Companion.h"

namespace marrowfin::testing {
namespace {

typedef std::vector<std::string> Words;

// A run of the example that records itself, and what it says of it.
class MeshLatencyTest : public ::testing::TestWithParam<Words> {
 protected:
  void SetUp() override {
    Words words = {MESH_NOC, "--trace", name};
    words.insert(words.end(), GetParam().begin(), GetParam().end());
    const CommandResult run = RunCommand(words);
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    std::istringstream in(run.out);
    std::string word;
    for (double value = 0; in >> word >> value;) {
      said[word] = value;
    }
    trace = OpenTrace(name);
    index = OpenIndex(*trace);
  }

  double Sum(const ValueCounts& counts) const {
    return counts.Mean() * static_cast<double>(counts.Size());
  }

  TempDir folder;
  std::string name = folder.File("mesh.trace");
  std::map<std::string, double> said;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
};

TEST_P(MeshLatencyTest, HopsAndLatenciesAreThoseThatTheSimulatorCounted) {
  const Companion companion = Companion::Beside(*trace);
  ASSERT_NE(companion.Notes(), nullptr);
  NotesOfTrace notes(*trace, *index, *companion.Notes());
  ASSERT_TRUE(TellPackets(&notes));
  const Result<CycleRange> range = CyclesOf(*trace);
  ASSERT_TRUE(range);
  const Result<PacketCounts> counts =
      CountPackets(*trace, *index, &notes, {{}, PacketCounts::Windows(range->first, range->last)});
  ASSERT_TRUE(counts) << counts.Why().Text();
  EXPECT_EQ(counts->Delivered(), said.at("packets"));
  EXPECT_EQ(counts->UnderWay(), 0U);
  EXPECT_NEAR(Sum(counts->Hops()), said.at("hops"), 1e-6 * said.at("hops"));
  EXPECT_NEAR(Sum(counts->TotalLatencies()), said.at("latencySum"), 1e-6 * said.at("latencySum"));
  EXPECT_EQ(static_cast<double>(counts->TotalLatencies().Largest()), said.at("latencyMax"));
  EXPECT_NEAR(Sum(counts->Latencies()) + Sum(counts->SourceWaits()), said.at("latencySum"),
              1e-6 * said.at("latencySum"));
  uint64_t injected = 0;
  for (const LatencyWindow& window : counts->Windows()) {
    injected += window.injected;
    EXPECT_EQ(window.latencies.Size(), window.injected);
  }
  EXPECT_EQ(injected, counts->Delivered());
}

TEST_P(MeshLatencyTest, EveryMessageIsAHopSoLinkLoadsAreObserved) {
  RunQuestion question;
  question.shape = {1, 1, 8};
  const Result<RunCounts> counts = CountRun(*trace, nullptr, question);
  ASSERT_TRUE(counts);
  const RunMeasures measures = MeasuresOf(*counts);
  EXPECT_TRUE(measures.links.observed);
  EXPECT_EQ(measures.links.level, Level::PE);
  double messages = 0;
  for (const std::vector<uint64_t>& heading : measures.links.loads.messages) {
    for (const uint64_t count : heading) {
      messages += static_cast<double>(count);
    }
  }
  EXPECT_EQ(messages, static_cast<double>(measures.sends - 2)) << "all but the two of the frame";
  EXPECT_LE(measures.links.busiest[0].load, 1);
}

INSTANTIATE_TEST_SUITE_P(Runs, MeshLatencyTest,
                         ::testing::Values(Words{"--cycles", "600"},
                                           Words{"--cycles", "500", "--routing", "adaptive",
                                                 "--traffic", "transpose", "--rate", "0.05"},
                                           Words{"--cycles", "400", "--traffic", "hotspot",
                                                 "--flits", "3"}));

}  // namespace
}  // namespace marrowfin::testing
