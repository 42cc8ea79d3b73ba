#include "measure/PacketCounts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "measure/CountPackets.h"
#include "tests/support/Command.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/read/Companion.h"
#include "trace/write/Recorder.h"

namespace marrowfin::testing {
namespace {

using ::testing::Optional;

PacketCounts Empty(uint64_t first = 0, uint64_t last = 99) {
  return PacketCounts(PacketCounts::Windows(first, last));
}

TEST(PacketCountsTest, APacketIsFollowedFromItsEntryToItsExit) {
  PacketCounts counts = Empty();
  counts.Add(7, 10, PacketRole::ENTRY, 4);
  counts.Add(7, 11, PacketRole::HOP, 4);
  counts.Add(8, 11, PacketRole::HOP, std::nullopt);  // entered before the range
  counts.Add(7, 12, PacketRole::OTHER, 4);
  counts.Add(7, 13, PacketRole::HOP, 4);
  counts.Add(8, 14, PacketRole::EXIT, std::nullopt);
  counts.Add(9, 14, PacketRole::ENTRY, 99);  // created in the future: nobody knows when
  EXPECT_EQ(counts.UnderWay(), 2U);
  counts.Add(7, 15, PacketRole::EXIT, std::nullopt);
  EXPECT_EQ(counts.Delivered(), 1U);
  EXPECT_EQ(counts.UnderWay(), 1U);
  EXPECT_EQ(counts.Latencies().Counts(), (std::map<uint64_t, uint64_t>{{5, 1}}));
  EXPECT_EQ(counts.TotalLatencies().Counts(), (std::map<uint64_t, uint64_t>{{11, 1}}));
  EXPECT_EQ(counts.SourceWaits().Counts(), (std::map<uint64_t, uint64_t>{{6, 1}}));
  EXPECT_EQ(counts.Hops().Counts(), (std::map<uint64_t, uint64_t>{{2, 1}}));
  counts.Add(9, 20, PacketRole::EXIT, std::nullopt);
  EXPECT_EQ(counts.TotalLatencies().Size(), 1U);
  ASSERT_TRUE(counts.Slowest());
  EXPECT_EQ(counts.Slowest()->packet, 9U);
}

TEST(PacketCountsTest, WithoutKindsTheFirstFireIsTheEntryAndTheSecondTheExit) {
  PacketCounts counts = Empty();
  for (const uint64_t cycle : {1U, 4U, 10U, 17U, 30U}) {
    counts.Add(3, cycle, PacketRole::FIRE, std::nullopt);
  }
  EXPECT_EQ(counts.Latencies().Counts(), (std::map<uint64_t, uint64_t>{{3, 1}, {7, 1}}));
  EXPECT_EQ(counts.UnderWay(), 1U);
}

TEST(PacketCountsTest, WindowsAreRoundAndAtMostTwenty) {
  for (const auto& [last, width] : {std::pair<uint64_t, uint64_t>{0, 1},
                                    {19, 1},
                                    {20, 2},
                                    {39, 2},
                                    {40, 5},
                                    {99, 5},
                                    {100, 10},
                                    {7999, 500},
                                    {~uint64_t{0} - 1, 1000000000000000000}}) {
    EXPECT_EQ(PacketCounts::Windows(0, last).width, width) << last;
    EXPECT_LE(PacketCounts::Windows(0, last).Count(), 20U);
  }
}

TEST(PacketCountsTest, PacketsBelongToTheWindowInWhichTheyEntered) {
  PacketCounts counts = Empty(0, 39);  // windows of two cycles
  counts.Add(1, 3, PacketRole::ENTRY, std::nullopt);
  counts.Add(2, 3, PacketRole::ENTRY, std::nullopt);
  counts.Add(1, 30, PacketRole::EXIT, std::nullopt);
  const LatencyWindow& window = counts.Windows()[1];
  EXPECT_EQ(window.firstCycle, 2U);
  EXPECT_EQ(window.lastCycle, 3U);
  EXPECT_EQ(window.injected, 2U);
  EXPECT_EQ(window.latencies.Counts(), (std::map<uint64_t, uint64_t>{{27, 1}}));
  EXPECT_TRUE(window.IsIncomplete());
  counts.Add(2, 31, PacketRole::EXIT, std::nullopt);
  EXPECT_FALSE(counts.Windows()[1].IsIncomplete());
}

// Twenty windows of ten cycles with twenty packets each, the latencies of each window all alike.
PacketCounts RunOf(const std::vector<uint64_t>& latencies) {
  PacketCounts counts = Empty(0, 199);
  uint64_t packet = 0;
  for (size_t window = 0; window < latencies.size(); ++window) {
    for (int i = 0; i < 20; ++i, ++packet) {
      counts.Add(packet, window * 10, PacketRole::ENTRY, std::nullopt);
      counts.Add(packet, window * 10 + latencies[window], PacketRole::EXIT, std::nullopt);
    }
  }
  return counts;
}

TEST(PacketCountsTest, ThreeSlowWindowsInARowAreTheOnsetOfSaturation) {
  std::vector<uint64_t> latencies(20, 10);
  latencies[7] = latencies[8] = 50;
  EXPECT_FALSE(RunOf(latencies).Onset());
  latencies[12] = latencies[13] = latencies[14] = 21;
  EXPECT_THAT(RunOf(latencies).Onset(), Optional(120U));
  latencies[13] = 20;
  EXPECT_FALSE(RunOf(latencies).Onset());
  EXPECT_FALSE(Empty().Onset());
}

TEST(PacketCountsTest, TheDistanceIsThatOfTheEndsWhateverTheWay) {
  PacketCounts counts = Empty();
  counts.Add(1, 3, PacketRole::ENTRY, std::nullopt, {5, 1});
  counts.Add(1, 4, PacketRole::HOP, std::nullopt, {7, 9});
  counts.Add(1, 5, PacketRole::HOP, std::nullopt, {7, 9});
  counts.Add(1, 6, PacketRole::EXIT, std::nullopt, {2, 3});
  EXPECT_EQ(counts.Distances().Counts(), (std::map<uint64_t, uint64_t>{{5, 1}}));
}

TEST(PacketCountsTest, EachHopLastsUntilTheNextOneOrTheExit) {
  PacketCounts counts = Empty();
  counts.Add(1, 3, PacketRole::ENTRY, std::nullopt);
  counts.Add(1, 5, PacketRole::HOP, std::nullopt);  // before it the packet waited where it entered
  counts.Add(1, 6, PacketRole::OTHER, std::nullopt);
  counts.Add(1, 9, PacketRole::HOP, std::nullopt);
  counts.Add(1, 16, PacketRole::EXIT, std::nullopt);
  counts.Add(2, 20, PacketRole::SEND, std::nullopt);  // is its first hop
  counts.Add(2, 22, PacketRole::HOP, std::nullopt);
  EXPECT_EQ(counts.HopTimes().Counts(), (std::map<uint64_t, uint64_t>{{2, 1}, {4, 1}, {7, 1}}));
}

TEST(PacketCountsTest, OfTheSlowestPacketsAllIsKept) {
  PacketCounts counts = Empty();
  for (uint64_t packet = 0; packet < 30; ++packet) {
    counts.Add(packet, 10, PacketRole::ENTRY, 4, {1, 2});
    counts.Add(packet, 10 + packet / 2, PacketRole::EXIT, std::nullopt, {5, 0});
  }
  const std::vector<PacketLife>& slowest = counts.SlowestOnes();
  ASSERT_EQ(slowest.size(), PacketCounts::MOST_SLOWEST);
  for (size_t i = 0; i < slowest.size(); ++i) {
    // Of two that are equally slow the one that arrived first.
    EXPECT_EQ(slowest[i].packet, (14 - i / 2) * 2 + i % 2);
    EXPECT_EQ(slowest[i].Latency(), 14 - i / 2);
  }
  EXPECT_EQ(slowest[0].from, (Place{1, 2}));
  EXPECT_EQ(slowest[0].to, (Place{5, 0}));
  EXPECT_THAT(slowest[0].created, Optional(4U));
  EXPECT_EQ(Empty().Slowest(), nullptr);
}

TEST(PacketCountsTest, AnExitTellsThePacketWithTheSortOfItsEntry) {
  PacketCounts counts = Empty();
  EXPECT_FALSE(counts.Add(1, 3, PacketRole::ENTRY, std::nullopt, {}, {77}));
  EXPECT_FALSE(counts.Add(1, 4, PacketRole::HOP, std::nullopt, {}, {78}));
  const std::optional<PacketLife> life = counts.Add(1, 9, PacketRole::EXIT, std::nullopt, {}, {79});
  ASSERT_TRUE(life);
  EXPECT_EQ(life->Latency(), 6U);
  EXPECT_EQ(life->entry.sort, 77U);
  EXPECT_FALSE(counts.Add(1, 9, PacketRole::EXIT, std::nullopt));
}

TEST(CountPacketsTest, WithoutNotesTheThreadIsThePacket) {
  const Opened opened(Encode({{FIRE_RECORD, 1, 5, {0, 0}, {}},
                              {SEND_RECORD, 2, 5, {0, 0}, {1, 0}},
                              {FIRE_RECORD, 3, 6, {0, 0}, {}},
                              {FIRE_RECORD, 6, 5, {1, 0}, {}}}));
  const Result<PacketCounts> counts =
      CountPackets(*opened.trace, *opened.index, nullptr, {{}, PacketCounts::Windows(1, 6)});
  ASSERT_TRUE(counts);
  EXPECT_FALSE(TellPackets(nullptr));
  EXPECT_EQ(counts->Latencies().Counts(), (std::map<uint64_t, uint64_t>{{5, 1}}));
  EXPECT_EQ(counts->Hops().Counts(), (std::map<uint64_t, uint64_t>{{1, 1}}));
  EXPECT_EQ(counts->Distances().Counts(), (std::map<uint64_t, uint64_t>{{1, 1}}));
  EXPECT_EQ(counts->UnderWay(), 1U);
}

TEST(CountPacketsTest, CountingCanBeStopped) {
  std::vector<Event> events;
  for (uint64_t cycle = 0; cycle < 40000; ++cycle) {
    events.push_back({FIRE_RECORD, cycle, 6, {0, 0}, {}});
  }
  const Opened opened(Encode(events));
  const auto count = [&](const ProgressCallback& progress) {
    return CountPackets(*opened.trace, *opened.index, nullptr,
                        {{}, PacketCounts::Windows(0, 40000)}, progress);
  };
  EXPECT_EQ(count([](const Progress&) { return false; }).Why().kind, Fault::CANCELLED);
  uint64_t done = 0;
  EXPECT_TRUE(count([&](const Progress& now) {
    EXPECT_LE(now.done, now.all);
    done = now.done;
    return true;
  }));
  EXPECT_GT(done, 0U);
}

TEST(CountPacketsTest, MessagesAreFollowedToTheFiresThatConsumedThem) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  Recorder recorder;
  ASSERT_FALSE(recorder.Open(name));
  const NumberNote packet = recorder.DeclareNumber("packet");
  const CycleNote created = recorder.DeclareCycle("created");
  const RecordsNote consumes = recorder.DeclareRecords("consumes");
  const auto send = [&](uint64_t cycle, uint64_t number) {
    const RecordNumber record = recorder.Send(cycle, 0, {0, 0}, {1, 0});
    recorder.Note(packet, number);
    recorder.Note(created, cycle - 3);
    return record;
  };
  recorder.Fire(4, 0, {0, 0});
  const RecordNumber first = send(5, 70);
  const RecordNumber other = send(6, 71);
  send(6, 72);
  recorder.Transmit(7, 0, {0, 0});
  recorder.Note(packet, 70);
  const RecordNumber second = send(8, 70);
  recorder.Fire(20, 0, {1, 0});
  recorder.Note(consumes, first);  // which went on, and is consumed by nobody
  recorder.Note(consumes, second);
  recorder.Note(consumes, other);
  ASSERT_FALSE(recorder.Close());
  const std::unique_ptr<TraceSource> trace = OpenTrace(name);
  const std::unique_ptr<Index> index = OpenIndex(*trace);
  const Companion companion = Companion::Beside(*trace);
  ASSERT_NE(companion.Notes(), nullptr);
  NotesOfTrace notes(*trace, *index, *companion.Notes());
  const Result<PacketCounts> counts =
      CountPackets(*trace, *index, &notes, {{}, PacketCounts::Windows(4, 20)});
  ASSERT_TRUE(counts) << counts.Why().Text();
  EXPECT_EQ(counts->Latencies().Counts(), (std::map<uint64_t, uint64_t>{{15, 1}, {14, 1}}));
  EXPECT_EQ(counts->TotalLatencies().Counts(), (std::map<uint64_t, uint64_t>{{18, 1}, {17, 1}}));
  EXPECT_EQ(counts->Hops().Counts(), (std::map<uint64_t, uint64_t>{{2, 1}, {0, 1}}));
  EXPECT_EQ(counts->Distances().Counts(), (std::map<uint64_t, uint64_t>{{1, 2}}));
  EXPECT_EQ(counts->UnderWay(), 1U);
}

TEST(CountPacketsTest, MessagesOfTheSimulatorAreAllDeliveredOverTheHopsThatItCounted) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  const CommandResult run = RunCommand({MARROWFIN_SIM, "-program", "sort", "-size", "16",
                                        "-placement", "random", "-outFilename", name});
  ASSERT_EQ(run.exitStatus, 0) << run.err;
  const std::unique_ptr<TraceSource> trace = OpenTrace(name);
  const std::unique_ptr<Index> index = OpenIndex(*trace);
  const Companion companion = Companion::Beside(*trace);
  ASSERT_NE(companion.Notes(), nullptr);
  NotesOfTrace notes(*trace, *index, *companion.Notes());
  const Result<PacketCounts> counts =
      CountPackets(*trace, *index, &notes, {{}, PacketCounts::Windows(0, 1000000)});
  ASSERT_TRUE(counts) << counts.Why().Text();
  const size_t said = run.out.find("\narray/messages = ");
  ASSERT_NE(said, std::string::npos);
  EXPECT_EQ(counts->Delivered(), std::stoull(run.out.substr(said + 18)));
  EXPECT_EQ(counts->UnderWay(), 0U);
  uint64_t hops = 0;
  for (const auto& [value, count] : counts->Hops().Counts()) {
    hops += value * count;
  }
  uint64_t transmissions = 0;
  const std::string line = "/switch/transmissions = ";
  for (size_t at = run.out.find(line); at != std::string::npos; at = run.out.find(line, at + 1)) {
    transmissions += std::stoull(run.out.substr(at + line.size()));
  }
  EXPECT_GT(hops, 0U);
  EXPECT_EQ(hops, transmissions);
}

}  // namespace
}  // namespace marrowfin::testing
