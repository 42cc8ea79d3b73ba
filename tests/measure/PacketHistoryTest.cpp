#include "measure/PacketHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "tests/measure/CausesFixture.h"
#include "tests/support/Command.h"
#include "trace/ask/NotedCursor.h"

namespace marrowfin::testing {
namespace {

using ::testing::Optional;

// Packets over a link that one message passes a cycle: (0, 0) to (1, 0).
class PacketHistoryTest : public ::testing::Test {
 protected:
  PacketHistoryTest() {
    EXPECT_FALSE(run.recorder.Close());
    EXPECT_FALSE(recorder.Open(run.name));
    packet = recorder.DeclareNumber(PACKET_ATTRIBUTE);
    created = recorder.DeclareCycle(CREATED_ATTRIBUTE);
  }

  void Fire(uint64_t cycle, Place at, uint64_t of) {
    recorder.Fire(cycle, 0, at);
    recorder.Note(packet, of);
    recorder.Note(created, cycle - 1);
  }
  void Send(uint64_t cycle, Place from, Place to, std::optional<uint64_t> of) {
    recorder.Send(cycle, 0, from, to);
    if (of) {
      recorder.Note(packet, *of);
    }
  }

  PacketHistory Follow(uint64_t number) {
    if (!causes) {
      EXPECT_FALSE(recorder.Close());
      run.Open(run.name);
      Result<Causes> found = run.Find(Flat(4));
      EXPECT_TRUE(IsFine(found.Why()));
      causes.emplace(std::move(found).Take());
    }
    Result<PacketHistory> history = FollowPacket(*causes, *run.notes, number);
    EXPECT_TRUE(IsFine(history.Why()));
    return history ? std::move(history).Take() : PacketHistory();
  }

  RecordedRun run;
  Recorder recorder;
  NumberNote packet;
  CycleNote created;
  std::optional<Causes> causes;
};

TEST_F(PacketHistoryTest, TellsWhereAPacketWaitedAndWhoUsedTheLinkMeanwhile) {
  for (uint64_t of = 1; of <= 3; ++of) {
    Fire(10, {0, 0}, of);
  }
  Send(11, {0, 0}, {1, 0}, 1);
  Send(12, {0, 0}, {0, 1}, 9);
  Send(12, {0, 0}, {1, 0}, 2);
  Send(12, {0, 0}, {1, 0}, {});
  Send(13, {0, 0}, {1, 0}, 2);
  Send(15, {0, 0}, {1, 0}, 3);
  Fire(16, {1, 0}, 3);
  const PacketHistory history = Follow(3);
  EXPECT_THAT(history.created, Optional(9U));
  EXPECT_EQ(history.Cycles(), 6U);
  EXPECT_EQ(history.waited, 4U);
  EXPECT_TRUE(history.certain);
  ASSERT_EQ(history.steps.size(), 3U);
  const PacketStep& step = history.steps[1];
  EXPECT_EQ(step.since, 5U);
  EXPECT_EQ(step.wait, 4U);
  ASSERT_EQ(step.holders.size(), 2U);
  EXPECT_EQ(step.holders[0].packet, 1U);
  EXPECT_EQ(step.holders[1].packet, 2U);
  EXPECT_EQ(step.holders[1].events, 2U);
  EXPECT_EQ(step.holders[1].firstCycle, 12U);
  EXPECT_EQ(step.holders[1].lastCycle, 13U);
  EXPECT_EQ(step.untold, 1U);
  EXPECT_TRUE(history.steps[2].holders.empty()) << "it did not wait";
  EXPECT_TRUE(Follow(77).steps.empty()) << "nobody tells of it";
}

TEST_F(PacketHistoryTest, AMessageThatIsStillUnderWayEndsThere) {
  Fire(10, {0, 0}, 1);
  Send(12, {0, 0}, {1, 0}, 1);
  const PacketHistory history = Follow(1);
  ASSERT_EQ(history.steps.size(), 2U);
  EXPECT_EQ(history.steps[1].event.type, SEND_RECORD);
}

TEST_F(PacketHistoryTest, WhoAsksToStopGetsNoAnswer) {
  Fire(10, {0, 0}, 1);
  Send(11, {0, 0}, {1, 0}, 1);
  for (uint64_t cycle = 12; cycle < 20000; ++cycle) {
    Send(cycle, {0, 0}, {0, 1}, {});
  }
  ASSERT_EQ(Follow(1).steps.size(), 2U) << "nothing uses the message";
  // Of the search for its events some is told before; what follows goes through all others.
  int calls = 0;
  const auto count = [&](const Progress&) { return ++calls > 0; };
  ASSERT_TRUE(FollowPacket(*causes, *run.notes, 1, count));
  const int all = std::exchange(calls, 0);
  const auto stop = [&](const Progress&) { return ++calls < all; };
  EXPECT_EQ(FollowPacket(*causes, *run.notes, 1, stop).Why().kind, Fault::CANCELLED);
}

// A run of the example that records itself.
class MeshPacketsTest : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(MeshPacketsTest, EveryPacketIsFollowedFromItsEntryOverEachOfItsHopsToItsExit) {
  RecordedRun run;
  const std::string file = run.folder.File("mesh.trace");
  std::vector<std::string> words = {MESH_NOC, "--trace", file};
  words.insert(words.end(), GetParam().begin(), GetParam().end());
  const CommandResult result = RunCommand(words);
  ASSERT_EQ(result.exitStatus, 0) << result.err;
  run.Open(file);
  const Result<Causes> causes = run.Find(Flat(8));
  ASSERT_TRUE(causes) << causes.Why().Text();
  // The first fire of each packet is its entry, the second its exit: read one by one.
  std::map<uint64_t, std::vector<TraceEvent>> fires;
  EventFilter onlyFires;
  onlyFires.sends = false;
  NotedCursor cursor(*run.trace, *run.index, *run.notes, {onlyFires, {}});
  Selection found;
  while (cursor.Next(found)) {
    const Result<const NoteValues*> values =
        run.notes->Of(found, *run.notes->Declarations().Attribute(PACKET_ATTRIBUTE));
    ASSERT_TRUE(values);
    for (size_t i = 0; i < found.Size(); ++i) {
      fires[(*values)->Value(i)].push_back(found.Event(i));
    }
  }
  ASSERT_GT(fires.size(), 60U);
  uint64_t waits = 0;
  uint64_t explained = 0;
  for (uint64_t number = 0; number < 60; ++number) {
    const std::vector<TraceEvent>& ends = fires.at(number);
    ASSERT_EQ(ends.size(), 2U);
    const Result<PacketHistory> history = FollowPacket(*causes, *run.notes, number);
    ASSERT_TRUE(history);
    ASSERT_FALSE(history->steps.empty());
    EXPECT_EQ(history->steps.front().event.record, ends[0].record) << number;
    EXPECT_EQ(history->steps.back().event.record, ends[1].record) << number;
    const auto apart = [](uint32_t a, uint32_t b) { return a > b ? a - b : b - a; };
    EXPECT_EQ(history->steps.size() - 2,
              apart(ends[0].at.column, ends[1].at.column) + apart(ends[0].at.row, ends[1].at.row));
    uint64_t since = 0;
    for (const PacketStep& step : history->steps) {
      since += step.since;
      waits += step.wait > 0 ? 1 : 0;
      explained += step.wait > 0 && !step.holders.empty() ? 1 : 0;
    }
    EXPECT_EQ(since, history->Cycles());
    EXPECT_TRUE(history->certain);
  }
  EXPECT_GT(waits, 0U);
  EXPECT_GT(explained, 0U);
}

INSTANTIATE_TEST_SUITE_P(Runs, MeshPacketsTest,
                         ::testing::Values(std::vector<std::string>{"--cycles", "300"},
                                           std::vector<std::string>{"--cycles", "300", "--routing",
                                                                    "adaptive", "--traffic",
                                                                    "hotspot"}));

}  // namespace
}  // namespace marrowfin::testing
