#include "trace/write/Synth.h"

#include <gtest/gtest.h>

#include "tests/trace/support/Opened.h"
#include "trace/write/ByteSink.h"

namespace marrowfin::testing {
namespace {

constexpr SynthOptions::Mode MODES[] = {SynthOptions::PROGRAMS, SynthOptions::RANDOM};

SynthOptions Many(SynthOptions::Mode mode) {
  SynthOptions options;
  options.mode = mode;
  options.records = 300000;
  return options;
}

TEST(SynthTest, ProgressCountsRecordsUpToAllOfThem) {
  for (const SynthOptions::Mode mode : MODES) {
    MemorySink sink;
    Writer writer;
    writer.Attach(sink);
    uint64_t last = 0;
    const auto watch = [&](const Progress& now) {
      EXPECT_EQ(now.unit, Progress::RECORDS);
      EXPECT_EQ(now.all, 300000U);
      EXPECT_GT(now.done, last);
      last = now.done;
      return true;
    };
    EXPECT_TRUE(IsFine(Synthesize(Many(mode), writer, watch)));
    EXPECT_EQ(last, 300000U);
    EXPECT_TRUE(IsFine(writer.Close()));
    EXPECT_EQ(writer.WholeRecords(), 300000U);
  }
}

TEST(SynthTest, SynthesisThatIsStoppedIsCancelledBehindWholeRecords) {
  for (const SynthOptions::Mode mode : MODES) {
    MemorySink sink;
    Writer writer;
    writer.Attach(sink);
    int calls = 0;
    const auto stop = [&](const Progress&) { return ++calls < 3; };
    const Fault fault = Synthesize(Many(mode), writer, stop);
    EXPECT_EQ(fault.kind, Fault::CANCELLED);
    EXPECT_EQ(calls, 3);
    EXPECT_FALSE(writer.GetFault()) << "the writer itself is well";
    EXPECT_TRUE(IsFine(writer.Close()));
    EXPECT_LT(writer.WholeRecords(), 300000U);
    EXPECT_GT(writer.WholeRecords(), 65536U);
  }
}

}  // namespace
}  // namespace marrowfin::testing
