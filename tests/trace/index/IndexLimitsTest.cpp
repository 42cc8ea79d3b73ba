#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <set>

#include "tests/support/TraceText.h"
#include "tests/trace/support/Answers.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/ActivityReader.h"
#include "trace/ask/EventCursor.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/StateReader.h"
#include "trace/ask/Walk.h"
#include "trace/index/IndexBuilder.h"
#include "trace/index/IndexFormat.h"
#include "trace/index/IndexWriter.h"
#include "trace/read/Reader.h"

namespace marrowfin::testing {
namespace {

constexpr uint32_t FARTHEST = ~uint32_t{0};

uint64_t PeakMemory() {
  struct rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<uint64_t>(usage.ru_maxrss) << 10;
}

Event FireAt(uint64_t cycle, uint32_t thread, Place at) {
  Event event;
  event.cycle = cycle;
  event.thread = thread;
  event.at = at;
  return event;
}

// Small events all over a small array, with one at a far place now and then.
std::vector<Event> FarEvents(size_t records) {
  std::mt19937 random(1);
  std::vector<Event> events;
  for (size_t i = 0; i < records; ++i) {
    Event event =
        FireAt(i / 50, static_cast<uint32_t>(i % 7),
               {static_cast<uint32_t>(random() % 8), static_cast<uint32_t>(random() % 8)});
    if (i % 1000 == 999) {
      event.type = SWITCH_RECORD + i / 1000 % 3;
      event.at = {FARTHEST, FARTHEST - static_cast<uint32_t>(i)};
      event.to = {FARTHEST, 0};
      event.to = event.type == SEND_RECORD ? event.to : Place{};
    }
    events.push_back(event);
  }
  return events;
}

TEST(IndexLimitsTest, FarthestPlacesCostNoMemory) {
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(FarEvents(150000)));
  ExpectInChild([&] {
    const uint64_t before = PeakMemory();
    const auto trace = OpenTrace(folder.File("t"));
    const auto index = OpenIndex(*trace);
    ASSERT_TRUE(index);
    EXPECT_FALSE(index->HasBoundaries());
    EXPECT_EQ(index->GetSummary().fired.columns, uint64_t{1} << 32);
    EXPECT_EQ(index->GetSummary().sent.columns, uint64_t{1} << 32);
    Answers(*trace, *index, {2, 2, 2}, 1);
    EXPECT_LT(PeakMemory() - before, 64U << 20);
  });
}

TEST(IndexLimitsTest, FarPlacesLeaveQueriesAndStatesRightWhereTheyCanBe) {
  const std::vector<Event> events = FarEvents(150000);
  Opened opened(Encode(events));
  // What can only be counted cell by cell is a fault that says so.
  std::vector<uint64_t> counts;
  Fault fault = ActivityReader(*opened.trace, *opened.index).Count(0, 10, FIRES, counts);
  EXPECT_EQ(fault.kind, Fault::OUTSIDE_ARRAY);
  EXPECT_THAT(fault.Text(), ::testing::HasSubstr("too large an array"));
  // Events are found, far ones too.
  EventFilter filter;
  filter.region = Region{{FARTHEST, FARTHEST - 5000}, {FARTHEST, FARTHEST}};
  EventCursor cursor(*opened.trace, *opened.index, filter);
  std::vector<uint64_t> found;
  TraceEvent event;
  while (cursor.Next(event)) {
    found.push_back(event.record);
  }
  EXPECT_THAT(found, ::testing::ElementsAre(999, 1999, 2999, 3999, 4999));
  // A state is told up to the first event that the array lacks.
  const StateReader reader(*opened.trace, *opened.index, {1, 1, 8});
  ArrayState state;
  EXPECT_TRUE(Take(reader.AtStep(19, 0), state));
  fault = reader.AtStep(20, 0).Why();
  EXPECT_EQ(fault.kind, Fault::OUTSIDE_ARRAY);
  EXPECT_EQ(fault.record, 999U);
  opened.Reopen();
  EXPECT_FALSE(opened.index->HasBoundaries());
}

// 2048 x 2048 processing elements can be shown, but are more than keyframes are kept of.
TEST(IndexLimitsTest, StateOfAnArrayTooLargeForKeyframesIsRight) {
  std::mt19937 random(2);
  std::vector<Event> events;
  std::map<std::pair<uint32_t, uint32_t>, std::pair<uint64_t, uint32_t>> last;
  for (uint64_t i = 0; i < 120000; ++i) {
    const uint32_t side = i < 40000 ? 16 : 2048;
    const Place at = {static_cast<uint32_t>(random()) % side,
                      static_cast<uint32_t>(random()) % side};
    events.push_back(FireAt(i / 100, static_cast<uint32_t>(random() % 6), at));
    last[{at.column, at.row}] = {i / 100, events.back().thread};
  }
  const Opened opened(Encode(events));
  ASSERT_FALSE(opened.index->HasBoundaries());
  ASSERT_FALSE(opened.index->Boundaries().empty()) << "there are some of the time before";
  const StateReader reader(*opened.trace, *opened.index, {128, 2, 8});
  ArrayState state;
  ASSERT_TRUE(Take(reader.AtCycle(~uint64_t{0}), state));
  const uint64_t end = events.back().cycle;
  size_t touched = 0;
  for (uint32_t row = 0; row < 2048; ++row) {
    for (uint32_t column = 0; column < 2048; ++column) {
      const auto found = last.find({column, row});
      const Color expected = found == last.end()
                                 ? UntouchedElementColor(end + 1)
                                 : ElementColor(found->second.second, end - found->second.first);
      touched += found == last.end() ? 0 : 1;
      ASSERT_TRUE(state.elements[row * 2048 + column] == expected) << column << ", " << row;
    }
  }
  EXPECT_EQ(touched, last.size());
}

std::vector<Event> SwitchEvents(uint32_t switches) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < switches; ++i) {
    Event event = FireAt(i / 64, i % 5, {4 + 8 * (i % 512), 4 + 8 * (i / 512)});
    event.type = SWITCH_RECORD;
    events.push_back(event);
    events.push_back(FireAt(i / 64, i % 5, {i % 8, i % 4}));
  }
  return events;
}

TEST(IndexLimitsTest, AsManySwitchesAsAreKeptAreCountedOneByOne) {
  const Opened opened(Encode(SwitchEvents(Summary::MAX_SWITCHES)));
  EXPECT_TRUE(opened.index->HasBoundaries());
  EXPECT_TRUE(opened.index->GetSummary().switchesComplete);
  EXPECT_EQ(opened.index->GetSummary().switchPlaces.size(), Summary::MAX_SWITCHES);
  std::vector<uint64_t> counts;
  ASSERT_TRUE(IsFine(
      ActivityReader(*opened.trace, *opened.index).Count(0, ~uint64_t{0}, TRANSMISSIONS, counts)));
  EXPECT_EQ(counts, std::vector<uint64_t>(Summary::MAX_SWITCHES, 1));
}

TEST(IndexLimitsTest, OneSwitchMoreLeavesTheIndexWithoutKeyframesForTheWholeTrace) {
  const std::vector<Event> events = SwitchEvents(Summary::MAX_SWITCHES + 1);
  Opened opened(Encode(events));
  EXPECT_FALSE(opened.index->HasBoundaries());
  EXPECT_FALSE(opened.index->GetSummary().switchesComplete);
  EXPECT_EQ(opened.index->GetSummary().switches, Summary::MAX_SWITCHES + 1);
  EXPECT_EQ(opened.index->GetSummary().switchPlaces.size(), Summary::MAX_SWITCHES);
  std::vector<uint64_t> counts;
  EXPECT_TRUE(ActivityReader(*opened.trace, *opened.index).Count(0, 9, TRANSMISSIONS, counts));
  // Asked for again, with an index that was read.
  opened.Reopen();
  EXPECT_FALSE(opened.index->HasBoundaries());
  const StateReader reader(*opened.trace, *opened.index, {512, 2, 4});
  ArrayState state;
  ASSERT_TRUE(Take(reader.AtCycle(500), state));
  for (uint32_t i = 0; i < 501 * 64; ++i) {
    const Color expected = SwitchColor(i % 5, 500 - i / 64);
    ASSERT_TRUE(state.switches[i / 512 * 512 + i % 512] == expected) << "switch " << i;
  }
}

std::vector<Event> ThreadEvents(uint32_t threads) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < 3 * threads; ++i) {
    events.push_back(FireAt(i / 10, i % threads * 3, {i % 8, i / 8 % 8}));
  }
  return events;
}

TEST(IndexLimitsTest, ThreadsBeyondThoseThatAreToldApartAreCountedTogether) {
  const std::vector<Event> events = ThreadEvents(20000);
  const Opened opened(Encode(events));
  const Summary& s = opened.index->GetSummary();
  // 0, 3, ... 63 are small; of the others the first ones are told apart.
  EXPECT_EQ(s.threads.size(), 22 + Summary::MAX_THREADS);
  for (const auto& [thread, count] : s.threads) {
    EXPECT_EQ(count, 3U);
    EXPECT_LT(thread, 3 * (22 + Summary::MAX_THREADS));
  }
  EXPECT_EQ(s.otherThreads, events.size() - 3 * s.threads.size());
}

TEST(IndexLimitsTest, ManyThreadsAreCountedAlikeByAnIndexThatGrew) {
  const std::vector<Event> events = ThreadEvents(20000);
  const std::string bytes = Encode(events);
  Opened opened(bytes.substr(0, bytes.size() * 2 / 3));
  WriteFile(opened.name, bytes);
  opened.Reopen();
  EXPECT_EQ(Answers(*opened.trace, *opened.index, {1, 2, 4}, 1),
            FreshAnswers(*opened.trace, {1, 2, 4}, 1));
  EXPECT_EQ(opened.index->GetSummary().threads.size(), 22 + Summary::MAX_THREADS);
}

TEST(IndexLimitsTest, FallingCyclesAreCountedAndKeepRangesOfCyclesFromBeingAsked) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < 70000; ++i) {
    const bool early = i == 33000 || i == 50000;
    events.push_back(FireAt(early ? 3 : 10 + i / 7, i % 3, {i % 8, i / 8 % 8}));
  }
  const Opened opened(Encode(events));
  const Summary& s = opened.index->GetSummary();
  EXPECT_FALSE(s.Ordered());
  EXPECT_EQ(s.falls, 2U);
  EXPECT_EQ(s.firstFall, 33000U);
  EXPECT_EQ(s.maxCycle, 10 + 69999U / 7);
  std::vector<uint64_t> counts;
  const ActivityReader reader(*opened.trace, *opened.index);
  const Fault fault = reader.CountCycles(0, 100, FIRES, counts);
  EXPECT_EQ(fault.kind, Fault::FALLING_CYCLE);
  EXPECT_EQ(fault.record, 33000U);
  ASSERT_TRUE(IsFine(reader.Count(33000, 33001, FIRES, counts)));
  EXPECT_EQ(std::count(counts.begin(), counts.end(), 1), 1);
  // Reaching a cycle still means the first record at or behind it.
  uint64_t record = 0;
  ASSERT_TRUE(Take(FindCycle(*opened.trace, *opened.index, 5000), record));
  EXPECT_EQ(record, 7U * 4990);
}

TEST(IndexLimitsTest, EmptyTraceHasAnIndexThatKnowsIt) {
  Opened opened("");
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(opened.index->GetSummary().records, 0U);
    EXPECT_TRUE(opened.index->Entries().empty());
    EXPECT_TRUE(opened.index->HasBoundaries());
    EXPECT_FALSE(opened.index->GetSummary().end);
    const StateReader reader(*opened.trace, *opened.index, {1, 1, 4});
    uint64_t steps = 1;
    ArrayState state;
    ASSERT_TRUE(Take(reader.CountSteps(0), steps));
    EXPECT_EQ(steps, 0U);
    EXPECT_TRUE(Take(reader.AtStep(0, 0), state));
    EXPECT_TRUE(Take(reader.AtCycle(7), state));
    EXPECT_EQ(state.last, 0U);
    std::vector<uint64_t> counts;
    EXPECT_TRUE(IsFine(ActivityReader(*opened.trace, *opened.index).Count(0, 9, FIRES, counts)));
    EXPECT_TRUE(counts.empty());
    EXPECT_EQ(Answers(*opened.trace, *opened.index, {1, 1, 4}, 1),
              FreshAnswers(*opened.trace, {1, 1, 4}, 1));
    opened.Reopen();
  }
}

TEST(IndexLimitsTest, TraceOfACutRecordHasNoRecordsButAFault) {
  const Opened opened(std::string(27, '\0'));
  EXPECT_EQ(opened.index->GetSummary().records, 0U);
  EXPECT_EQ(opened.index->GetSummary().end.kind, Fault::UNKNOWN_TYPE);
  const Opened header(TraceBytes("fire 1 0 0 0").substr(0, 19));
  EXPECT_EQ(header.index->GetSummary().end.kind, Fault::CUT_RECORD);
  EXPECT_EQ(header.index->GetSummary().end.Text(),
            header.name +
                ": record 0 at byte 0: the trace ends after 19 of the 20 bytes of a header; run "
                "the simulator to its end, or use the records before it");
}

TEST(IndexLimitsTest, HugeCyclesAreFoundLikeAnyOthers) {
  constexpr uint64_t MOST = ~uint64_t{0};
  std::vector<Event> events;
  for (uint32_t i = 0; i < 40000; ++i) {
    events.push_back(FireAt(i < 10 ? i : MOST - 40000 + i, i % 3, {i % 4, i % 3}));
  }
  events.push_back(FireAt(MOST, 4, {2, 2}));
  Opened opened(Encode(events));
  opened.Reopen();
  EXPECT_EQ(opened.index->GetSummary().maxCycle, MOST);
  uint64_t record = 0;
  for (const uint64_t i : {uint64_t{0}, uint64_t{9}, uint64_t{10}, uint64_t{39999}}) {
    ASSERT_TRUE(Take(FindCycle(*opened.trace, *opened.index, events[i].cycle), record));
    EXPECT_EQ(record, i);
  }
  ASSERT_TRUE(Take(FindCycle(*opened.trace, *opened.index, MOST), record));
  EXPECT_EQ(record, 40000U);
  ASSERT_TRUE(Take(FindCycle(*opened.trace, *opened.index, 10), record));
  EXPECT_EQ(record, 10U);
  const StateReader reader(*opened.trace, *opened.index, {1, 1, 4});
  ArrayState state;
  ASSERT_TRUE(Take(reader.AtCycle(MOST), state));
  EXPECT_EQ(state.last, events.size());
  EXPECT_TRUE(state.elements[2 * 4 + 2] == ElementColor(4, 0));
  ASSERT_TRUE(Take(reader.AtCycle(MOST - 1), state));
  EXPECT_EQ(state.last, events.size() - 1);
  std::vector<uint64_t> counts;
  ASSERT_TRUE(
      IsFine(ActivityReader(*opened.trace, *opened.index).CountCycles(10, MOST, FIRES, counts)));
  uint64_t sum = 0;
  for (const uint64_t count : counts) {
    sum += count;
  }
  EXPECT_EQ(sum, events.size() - 10);
}

uint32_t EdgesOf(const std::string& bytes) {
  constexpr size_t EDGE = 4096;
  const auto* data = reinterpret_cast<const Bytef*>(bytes.data());
  const uLong front = crc32(0, data, EDGE);
  return static_cast<uint32_t>(crc32(front, data + bytes.size() - EDGE, EDGE));
}

// An index like any other, but with an entry for every record as far as the table holds them, as
// if the trace were a thousand times as long.
void WriteCrowdedIndex(const TraceSource& trace, const std::string& bytes,
                       const std::vector<Event>& events) {
  IndexWriter writer(Made(IndexFileAt(trace.Name() + ".mfindex", 0644)->Create()));
  IndexBuilder builder([&](std::span<const uint8_t> raw) { return writer.Append(raw); });
  Reader reader(PieceSource(trace.File(), 0, trace.Size()), "t");
  auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns)) {
    builder.Add(*columns);
  }
  builder.Finish();
  IndexTables directory = builder.TakeTables();
  directory.stride = 1;
  directory.entries.clear();
  directory.trace.size = trace.Size();
  directory.trace.modified = trace.GetIdentity().modified;
  directory.trace.edges = EdgesOf(bytes);
  directory.times = writer.Append(builder.Times().Encode());
  directory.furtherTimes = writer.Append(builder.FurtherTimes().Encode());
  IndexEntry entry;
  for (; entry.record < IndexLimits().entries - 1; ++entry.record) {
    const Event& event = events[entry.record];
    entry.changes += entry.record > 0 && event.cycle != entry.cycle ? 1 : 0;
    entry.cycle = event.cycle;
    directory.entries.push_back(entry);
    entry.offset += RecordSize(event.type);
  }
  ASSERT_TRUE(IsFine(writer.Commit(directory).Why()));
}

// An index with short segments has as many of them as one of a long trace.
struct FineIndex {
  FineIndex(const std::vector<Event>& events, IndexLimits limits) {
    WriteFile(folder.File("t"), Encode(events));
    Reopen(limits);
  }

  void Reopen(IndexLimits limits) {
    trace = OpenTrace(folder.File("t"));
    EXPECT_TRUE(IsFine(Index::Build(*trace, folder.File("t.mfindex"), {}, limits)));
    index = Made(Index::Load(*trace, folder.File("t.mfindex")));
  }

  TempDir folder;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
};

std::vector<Event> ManyEvents(size_t records) {
  std::mt19937 random(5);
  RandomTraceOptions options;
  options.shape = {2, 2, 2};
  options.records = records;
  options.perCycle = 20;
  return RandomEvents(random, options);
}

// Every batch is a segment, so that nodes of 256 segments are among them.
TEST(IndexLimitsTest, AnswersDoNotDependOnTheLengthOfSegments) {
  const FineIndex fine(ManyEvents(80000), {.segmentRecords = 1, .entryRecords = 1});
  ASSERT_GT(fine.index->Boundaries().size(), 300U);
  ASSERT_EQ(fine.index->Stride(), 1U);
  EXPECT_EQ(Answers(*fine.trace, *fine.index, {2, 2, 2}, 1, 40),
            FreshAnswers(*fine.trace, {2, 2, 2}, 1, 40));
}

TEST(IndexLimitsTest, FullTableOfBoundariesKeepsEveryOtherOne) {
  const std::vector<Event> events = ManyEvents(80000);
  for (const size_t most : {2, 4, 16, 64, 256}) {
    const FineIndex fine(events, {.segmentRecords = 1, .boundaries = most});
    EXPECT_LE(fine.index->Boundaries().size(), most);
    EXPECT_GT(fine.index->Boundaries().size(), most / 2);
    EXPECT_EQ(Answers(*fine.trace, *fine.index, {2, 2, 2}, 2, 20),
              FreshAnswers(*fine.trace, {2, 2, 2}, 2, 20))
        << most;
  }
}

// Which is where the samples by which a grown trace is recognised stand, too.
TEST(IndexLimitsTest, IndexWhoseBoundariesWereHalvedIsExtended) {
  const std::vector<Event> events = ManyEvents(60000);
  for (const size_t records : {5000, 20000, 34567}) {
    const FineIndex fine({events.begin(), events.begin() + static_cast<ptrdiff_t>(records)},
                         {.segmentRecords = 1, .boundaries = 16});
    WriteFile(fine.folder.File("t"), Encode(events));
    const auto trace = OpenTrace(fine.folder.File("t"));
    ASSERT_TRUE(Made(Index::Load(*trace, fine.folder.File("t.mfindex"))));
    uint64_t first = 0;
    const auto index = OpenIndex(*trace, [&](const Progress& now) {
      first = first == 0 ? now.done : first;
      return true;
    });
    ASSERT_TRUE(index);
    EXPECT_GT(first, records / 2 * SMALL_RECORD) << "it was built anew";
    EXPECT_EQ(Answers(*trace, *index, {2, 2, 2}, 3, 20), FreshAnswers(*trace, {2, 2, 2}, 3, 20));
  }
}

// As left by whoever had room for more; an odd number of boundaries cannot be halved.
TEST(IndexLimitsTest, IndexWithTooManyBoundariesIsExtendedAllTheSame) {
  const std::vector<Event> events = ManyEvents(560000);
  std::set<size_t> parities;
  for (const ptrdiff_t records : {540000, 540256}) {
    const FineIndex fine({events.begin(), events.begin() + records},
                         {.segmentRecords = 1, .boundaries = 16384});
    ASSERT_GT(fine.index->Boundaries().size(), IndexLimits().boundaries);
    parities.insert(fine.index->Boundaries().size() % 2);
    WriteFile(fine.folder.File("t"), Encode(events));
    const auto trace = OpenTrace(fine.folder.File("t"));
    const auto index = OpenIndex(*trace);
    ASSERT_TRUE(index);
    ASSERT_GT(index->Boundaries().size(), 1000U) << "it was built anew";
    std::vector<uint64_t> fires;
    ASSERT_TRUE(IsFine(ActivityReader(*trace, *index).Count(0, events.size(), FIRES, fires)));
    EXPECT_EQ(std::accumulate(fires.begin(), fires.end(), uint64_t{0}), index->GetSummary().fires);
  }
  EXPECT_EQ(parities.size(), 2U);
}

TEST(IndexLimitsTest, FullTableOfRecordsKeepsEveryOtherOne) {
  std::mt19937 random(3);
  RandomTraceOptions options;
  options.shape = {1, 2, 2};
  options.records = 200000;
  const std::vector<Event> events = RandomEvents(random, options);
  const TempDir folder;
  const std::string bytes = Encode({events.begin(), events.begin() + 110000});
  WriteFile(folder.File("t"), bytes);
  auto trace = OpenTrace(folder.File("t"));
  ASSERT_NO_FATAL_FAILURE(WriteCrowdedIndex(*trace, bytes, events));
  auto index = OpenIndex(*trace);
  ASSERT_TRUE(index);
  ASSERT_EQ(index->Stride(), 1U) << "the crowded index was not taken";
  ASSERT_GT(index->Boundaries().back().record, IndexLimits().entries);
  WriteFile(folder.File("t"), Encode(events));
  trace = OpenTrace(folder.File("t"));
  index = OpenIndex(*trace);
  ASSERT_TRUE(index);
  EXPECT_EQ(index->Stride(), 2U);
  EXPECT_LT(index->Entries().size(), IndexLimits().entries);
  EXPECT_GT(index->Entries().size(), IndexLimits().entries / 2);
  EXPECT_EQ(index->Entries()[1].record, 2U);
  EXPECT_EQ(index->Entries()[IndexLimits().entries / 2 - 1].record, IndexLimits().entries - 2);
  EXPECT_EQ(Answers(*trace, *index, options.shape, 1, 20),
            FreshAnswers(*trace, options.shape, 1, 20));
}

// Also where the last row is one of those that are left out. A row stands at the first batch behind
// its distance.
TEST(IndexLimitsTest, RowsOfATableThatWasFullStandNoFartherApartThanItSays) {
  const FineIndex fine(ManyEvents(60000), {.entryRecords = 512, .entries = 16});
  const auto entries = fine.index->Entries();
  EXPECT_EQ(fine.index->Stride(), 4096U);
  ASSERT_GT(entries.size(), 8U);
  for (size_t i = 1; i < entries.size(); ++i) {
    EXPECT_LE(entries[i].record, entries[i - 1].record + 4096 + Columns::CAPACITY) << i;
  }
}

}  // namespace
}  // namespace marrowfin::testing
