#include "trace/read/Split.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <set>
#include <stdexcept>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/base/BigEndian.h"

namespace marrowfin::testing {
namespace {

// Keeps the records of a piece as text, so that pieces can be put together and compared.
class Recorder : public PieceTaker {
 public:
  void Take(const Columns& columns) override {
    for (size_t i = 0; i < columns.size; ++i) {
      events.push_back({columns.tag[i].type, columns.cycle[i], columns.tag[i].thread, columns.at[i],
                        columns.to[i]});
    }
  }
  void Forget() override { events.clear(); }

  std::vector<Event> events;
};

// The byte at which the first record of a cycle begins; the fault is the test's.
uint64_t OffsetOf(const TraceSource& trace, uint64_t cycle) {
  const Result<uint64_t> offset = SeekCycle(trace, cycle);
  EXPECT_TRUE(offset) << offset.Why().Text();
  return offset ? *offset : ~uint64_t{0};
}

void ExpectSplittingChangesNothing(const std::string& bytes) {
  const TempDir folder;
  WriteFile(folder.File("t"), bytes);
  const auto trace = OpenTrace(folder.File("t"));
  ASSERT_TRUE(trace);
  Recorder whole;
  const Fault expected = ReadInPieces(*trace, {&whole}).end;
  for (const size_t pieces : {2U, 3U, 5U, 8U}) {
    std::vector<Recorder> recorders(pieces);
    std::vector<PieceTaker*> takers;
    for (Recorder& recorder : recorders) {
      takers.push_back(&recorder);
    }
    const auto [records, found] = ReadInPieces(*trace, takers);
    std::vector<Event> joined;
    for (size_t i = 0; i < pieces; ++i) {
      EXPECT_EQ(records[i], recorders[i].events.size());
      joined.insert(joined.end(), recorders[i].events.begin(), recorders[i].events.end());
    }
    ASSERT_TRUE(Encode(joined) == Encode(whole.events)) << pieces << " pieces";
    EXPECT_EQ(found.kind, expected.kind) << found.Text() << " instead of " << expected.Text();
    EXPECT_EQ(found.offset, expected.offset);
    EXPECT_EQ(found.record, expected.record);
  }
}

TEST(SplitTest, PiecesAddUpToTheWholeTrace) {
  std::mt19937 random(1);
  for (int round = 0; round < 30; ++round) {
    RandomTraceOptions options;
    options.records = random() % 3000;
    options.falling = round % 3 == 0;
    ExpectSplittingChangesNothing(Encode(RandomEvents(random, options)));
    ASSERT_FALSE(HasFatalFailure()) << round;
  }
}

TEST(SplitTest, BrokenTracesBreakAtTheSameRecordInPieces) {
  std::mt19937 random(2);
  for (int round = 0; round < 60; ++round) {
    std::string bytes = Encode(RandomEvents(random, {.records = 600}));
    if (round % 2 == 0) {
      bytes.resize(random() % bytes.size());
    } else {
      const size_t at = random() % bytes.size();
      bytes[at] = static_cast<char>(random());
    }
    ExpectSplittingChangesNothing(bytes);
    ASSERT_FALSE(HasFatalFailure()) << round;
  }
}

// Sends whose places look like the headers of records: at another alignment a whole chain of fires
// can be read that nobody wrote.
std::string AdversarialTrace(std::mt19937& random, size_t records, bool periodic) {
  std::vector<Event> events;
  for (size_t i = 0; i < records; ++i) {
    Event event;
    event.type = SEND_RECORD;
    event.cycle = periodic ? 0x0000000300000000 : i;
    event.thread = periodic ? 8 : static_cast<uint32_t>(random() % 3);
    event.at = {2 + static_cast<uint32_t>(random() % 3), 0};
    event.to = {static_cast<uint32_t>(random() % 2), 8 * (1 + static_cast<uint32_t>(random() % 2))};
    events.push_back(event);
  }
  return Encode(events);
}

TEST(SplitTest, PayloadsThatLookLikeRecordsDoNotChangeTheResult) {
  std::mt19937 random(3);
  for (int round = 0; round < 20; ++round) {
    ExpectSplittingChangesNothing(AdversarialTrace(random, 500, round % 2 == 0));
    ASSERT_FALSE(HasFatalFailure()) << round;
  }
}

// Two chains at once: each 36-byte send contains, 8 bytes on, the header of another send whose
// payload runs into the next record, and so on for ever. Nothing in the bytes tells which chain is
// meant.
std::string AmbiguousTrace(size_t records) {
  std::string record(36, '\0');
  auto* bytes = reinterpret_cast<uint8_t*>(record.data());
  Store32(bytes, SEND_RECORD);
  Store64(bytes + 4, 0x0000000000000004);
  // The second header begins at byte 8: type, cycle (8 bytes), thread, length.
  Store32(bytes + 8, SEND_RECORD);
  Store32(bytes + 12, 0);
  Store32(bytes + 16, 16);
  Store32(bytes + 24, 16);
  std::string trace;
  for (size_t i = 0; i < records; ++i) {
    trace += record;
  }
  return trace;
}

TEST(SplitTest, AmbiguousTraceIsNotSplitButReadAllTheSame) {
  const TempDir folder;
  const std::string bytes = AmbiguousTrace(400);
  WriteFile(folder.File("t"), bytes);
  const auto trace = OpenTrace(folder.File("t"));
  EXPECT_FALSE(*Resynchronise(*trace, 36 * 100 + 5)) << "two chains hold together here";
  ExpectSplittingChangesNothing(bytes);
  EXPECT_EQ(OffsetOf(*trace, 4), 0U);
  EXPECT_EQ(OffsetOf(*trace, ~uint64_t{0}), bytes.size());
}

TEST(SplitTest, EveryByteLeadsToARecordNearby) {
  std::mt19937 random(4);
  const std::vector<Event> events = RandomEvents(random, {.records = 80});
  const std::string bytes = Encode(events);
  const TempDir folder;
  WriteFile(folder.File("t"), bytes);
  const auto trace = OpenTrace(folder.File("t"));
  std::set<uint64_t> begins = {bytes.size()};
  uint64_t begin = 0;
  for (const Event& event : events) {
    begins.insert(begin);
    begin += RecordSize(event.type);
  }
  for (size_t at = 0; at <= bytes.size(); ++at) {
    const std::optional<uint64_t> found = *Resynchronise(*trace, at);
    ASSERT_TRUE(found) << "from byte " << at;
    EXPECT_EQ(begins.count(*found), 1U) << "from byte " << at;
    EXPECT_GE(*found, at);
    EXPECT_LT(*found, at + LARGE_RECORD);
  }
}

TEST(SplitTest, SeekingFindsTheFirstRecordOfACycleWithoutAnIndex) {
  std::mt19937 random(5);
  RandomTraceOptions options;
  options.records = 20000;
  options.perCycle = 12;
  const std::vector<Event> events = RandomEvents(random, options);
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(events));
  const auto trace = OpenTrace(folder.File("t"));
  for (int round = 0; round < 300; ++round) {
    const uint64_t cycle = random() % (events.back().cycle + 3);
    uint64_t expected = 0;
    for (size_t i = 0; i < events.size() && events[i].cycle < cycle; ++i) {
      expected += RecordSize(events[i].type);
    }
    EXPECT_EQ(OffsetOf(*trace, cycle), expected) << "cycle " << cycle;
  }
}

// A send from row 8 in a cycle whose lower half is a type: 8 bytes on stands what looks like a fire
// or a switch that ends where the send ends.
std::vector<Event> SendsThatHoldFires(size_t records, uint64_t cycle) {
  std::vector<Event> events(10);
  for (Event& event : events) {
    event.cycle = 1;
  }
  Event send;
  send.type = SEND_RECORD;
  send.cycle = cycle;
  send.at = {1, 8};
  send.to = {2, 2};
  events.insert(events.end(), records, send);
  return events;
}

TEST(SplitTest, RecordInsideOfAnotherThatEndsWithItIsNotTakenForOne) {
  for (const uint64_t cycle : {uint64_t{3}, uint64_t{2}, (uint64_t{1} << 32) + 3}) {
    const std::vector<Event> events = SendsThatHoldFires(3000, cycle);
    const TempDir folder;
    WriteFile(folder.File("t"), Encode(events));
    const auto trace = OpenTrace(folder.File("t"));
    const uint64_t sends = 10 * SMALL_RECORD;
    for (uint64_t at = sends; at < sends + 3 * LARGE_RECORD; ++at) {
      const std::optional<uint64_t> found = *Resynchronise(*trace, at);
      ASSERT_TRUE(found);
      EXPECT_EQ((*found - sends) % LARGE_RECORD, 0U) << "from byte " << at;
    }
    for (const uint64_t wanted : {uint64_t{2}, uint64_t{3}, uint64_t{17}, uint64_t{20}, cycle}) {
      EXPECT_EQ(OffsetOf(*trace, wanted), wanted <= cycle ? sends : trace->Size())
          << "cycle " << wanted;
    }
    ExpectSplittingChangesNothing(Encode(events));
  }
}

TEST(SplitTest, SeekingInPayloadsThatLookLikeRecordsFindsTheCycleAllTheSame) {
  std::mt19937 random(6);
  for (int round = 0; round < 40; ++round) {
    const std::string bytes = AdversarialTrace(random, 2000, round % 2 == 0);
    const TempDir folder;
    WriteFile(folder.File("t"), bytes);
    const auto trace = OpenTrace(folder.File("t"));
    Recorder whole;
    const Fault fault = ReadInPieces(*trace, {&whole}).end;
    ASSERT_FALSE(fault) << fault.Text();
    for (int i = 0; i < 20; ++i) {
      const uint64_t cycle = whole.events[random() % whole.events.size()].cycle + random() % 2;
      uint64_t expected = 0;
      for (size_t at = 0; at < whole.events.size() && whole.events[at].cycle < cycle; ++at) {
        expected += RecordSize(whole.events[at].type);
      }
      EXPECT_EQ(OffsetOf(*trace, cycle), expected) << "cycle " << cycle;
    }
  }
}

// Where the looks of the bisection show it.
TEST(SplitTest, SeekingAmongFallingCyclesReadsFromTheStart) {
  std::vector<Event> events(20000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i < 500 ? i : 20000 - i;
  }
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(events));
  const auto trace = OpenTrace(folder.File("t"));
  EXPECT_EQ(OffsetOf(*trace, 9000), 500 * SMALL_RECORD);
}

// Falling cycles, among which seeking reads the whole trace.
std::vector<Event> FallingEvents(size_t records) {
  std::vector<Event> events(records);
  for (size_t i = 0; i < records; ++i) {
    events[i].cycle = records - i;
  }
  return events;
}

TEST(SplitTest, SeekingThatReadsTheWholeTraceTellsHowFarItIs) {
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(FallingEvents(20000)));
  const auto trace = OpenTrace(folder.File("t"));
  uint64_t last = 0;
  const Result<uint64_t> found = SeekCycle(*trace, ~uint64_t{0}, [&](const Progress& now) {
    EXPECT_GT(now.done, last);
    EXPECT_EQ(now.all, trace->Size());
    EXPECT_EQ(now.unit, Progress::BYTES);
    last = now.done;
    return true;
  });
  ASSERT_TRUE(found) << found.Why().Text();
  EXPECT_EQ(last, trace->Size());
}

TEST(SplitTest, SeekingThatIsStoppedIsCancelledAndSeekingAgainIsNot) {
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(FallingEvents(20000)));
  const auto trace = OpenTrace(folder.File("t"));
  int calls = 0;
  Result<uint64_t> found =
      SeekCycle(*trace, ~uint64_t{0}, [&](const Progress&) { return ++calls < 2; });
  EXPECT_EQ(found.Why().kind, Fault::CANCELLED);
  EXPECT_EQ(found.Why().file, folder.File("t"));
  EXPECT_EQ(calls, 2);
  found = SeekCycle(*trace, ~uint64_t{0});
  ASSERT_TRUE(found) << found.Why().Text();
  EXPECT_EQ(*found, trace->Size());
}

TEST(SplitTest, SeekingInATraceThatIsCutIsAFaultAndNoneForTheNextTrace) {
  const TempDir folder;
  const std::string bytes = Encode(FallingEvents(2000));
  WriteFile(folder.File("cut"), bytes.substr(0, bytes.size() - 1));
  WriteFile(folder.File("whole"), bytes);
  Result<uint64_t> found = SeekCycle(*OpenTrace(folder.File("cut")), ~uint64_t{0});
  EXPECT_EQ(found.Why().kind, Fault::CUT_RECORD);
  found = SeekCycle(*OpenTrace(folder.File("whole")), ~uint64_t{0});
  EXPECT_TRUE(found) << found.Why().Text();
}

TEST(SplitTest, PiecesTellHowMuchAllOfThemHaveRead) {
  std::mt19937 random(8);
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(RandomEvents(random, {.records = 30000})));
  const auto trace = OpenTrace(folder.File("t"));
  Recorder recorders[3];
  uint64_t last = 0;
  const PiecesRead read =
      ReadInPieces(*trace, {&recorders[0], &recorders[1], &recorders[2]}, [&](const Progress& now) {
        EXPECT_GT(now.done, last);
        EXPECT_EQ(now.all, trace->Size());
        EXPECT_EQ(now.unit, Progress::BYTES);
        last = now.done;
        return true;
      });
  EXPECT_FALSE(read.end) << read.end.Text();
  EXPECT_EQ(last, trace->Size());
}

TEST(SplitTest, PiecesThatAreStoppedForgetEverything) {
  std::mt19937 random(9);
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(RandomEvents(random, {.records = 30000})));
  const auto trace = OpenTrace(folder.File("t"));
  for (const int stop : {1, 2, 9}) {
    Recorder recorders[2];
    int calls = 0;
    const PiecesRead read = ReadInPieces(*trace, {&recorders[0], &recorders[1]},
                                         [&](const Progress&) { return ++calls < stop; });
    EXPECT_EQ(read.end.kind, Fault::CANCELLED);
    EXPECT_EQ(calls, stop) << "whoever asked to stop is not asked again";
    for (size_t i = 0; i < 2; ++i) {
      EXPECT_EQ(read.records[i], 0U);
      EXPECT_TRUE(recorders[i].events.empty());
    }
  }
}

TEST(SplitTest, WhatATakerThrowsReachesTheCaller) {
  struct Thrower : PieceTaker {
    void Take(const Columns&) override { throw std::runtime_error("enough"); }
    void Forget() override {}
  };
  std::mt19937 random(7);
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(RandomEvents(random, {.records = 3000})));
  const auto trace = OpenTrace(folder.File("t"));
  Recorder recorder;
  Thrower thrower;
  EXPECT_THROW(ReadInPieces(*trace, {&recorder, &thrower}), std::runtime_error);
  EXPECT_THROW(ReadInPieces(*trace, {&thrower, &recorder}), std::runtime_error);
}

}  // namespace
}  // namespace marrowfin::testing
