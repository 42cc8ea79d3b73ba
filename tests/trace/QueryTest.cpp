#include "trace/Query.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/support/TraceText.h"
#include "tests/trace/Opened.h"
#include "tests/trace/RandomTrace.h"
#include "trace/Walk.h"

namespace marrowfin::testing {
namespace {

TraceEvent AsTraceEvent(const Event& event, uint64_t record) {
  return {record, event.cycle, event.thread, event.type, event.at, event.to};
}

// What a filter lets through, by looking at every event.
std::vector<uint64_t> Expected(const std::vector<Event>& events, const EventFilter& filter) {
  std::vector<uint64_t> records;
  for (size_t i = 0; i < events.size(); ++i) {
    if (filter.Matches(AsTraceEvent(events[i], i))) {
      records.push_back(i);
    }
  }
  return records;
}

EventFilter RandomFilter(std::mt19937& random, const std::vector<Event>& events, uint32_t side) {
  EventFilter filter;
  const auto half = [&] { return random() % 2 == 0; };
  if (half()) {
    filter.firstCycle = events[random() % events.size()].cycle;
    filter.lastCycle = filter.firstCycle + random() % 50;
  }
  if (half()) {
    filter.firstRecord = random() % events.size();
    filter.lastRecord = filter.firstRecord + random() % events.size();
  }
  filter.switches = half();
  filter.fires = half();
  filter.sends = half();
  if (half()) {
    filter.thread = random() % 9;
  }
  if (half()) {
    const uint32_t column = static_cast<uint32_t>(random() % side);
    const uint32_t row = static_cast<uint32_t>(random() % side);
    filter.region = Region{
        {column, row},
        {column + static_cast<uint32_t>(random() % 4), row + static_cast<uint32_t>(random() % 4)}};
  }
  return filter;
}

void CompareQueries(const std::vector<Event>& events, uint32_t side, int rounds,
                    std::mt19937& random) {
  const Opened opened(Encode(events));
  for (int round = 0; round < rounds; ++round) {
    const EventFilter filter = RandomFilter(random, events, side);
    EventCursor cursor(*opened.trace, *opened.index, filter);
    std::vector<uint64_t> forward;
    TraceEvent event;
    while (cursor.Next(event)) {
      forward.push_back(event.record);
      EXPECT_TRUE(event.at == events[event.record].at);
    }
    EXPECT_FALSE(cursor.GetFault()) << cursor.GetFault().Text();
    ASSERT_EQ(forward, Expected(events, filter)) << "round " << round;
    std::vector<uint64_t> back;
    while (cursor.Previous(event)) {
      back.insert(back.begin(), event.record);
    }
    EXPECT_FALSE(cursor.GetFault()) << cursor.GetFault().Text();
    ASSERT_EQ(back, forward) << "round " << round;
  }
}

TEST(QueryTest, CursorFindsExactlyTheEventsThatMatchInBothDirections) {
  std::mt19937 random(1);
  for (int round = 0; round < 30; ++round) {
    RandomTraceOptions options;
    options.records = 1 + random() % 400;
    options.shape = {2, 1, 4};
    options.falling = round % 3 == 0;
    CompareQueries(RandomEvents(random, options), 8, 20, random);
    ASSERT_FALSE(HasFatalFailure());
  }
}

TEST(QueryTest, SpansWithoutActivityInTheRegionArePassedOver) {
  std::mt19937 random(2);
  RandomTraceOptions options;
  options.records = 400000;
  options.shape = {4, 2, 4};
  options.perCycle = 50;
  std::vector<Event> events = RandomEvents(random, options);
  // A corner that only the beginning and the end know.
  for (size_t i = 30000; i + 30000 < events.size(); ++i) {
    events[i].at.column |= events[i].type == SWITCH_RECORD ? 0 : 16;
    events[i].to.column |= events[i].type == SEND_RECORD ? 16 : 0;
  }
  CompareQueries(events, 32, 12, random);
  const Opened opened(Encode(events));
  EventFilter filter;
  filter.region = Region{{0, 0}, {3, 3}};
  filter.switches = false;
  EventCursor cursor(*opened.trace, *opened.index, filter);
  std::vector<uint64_t> found;
  TraceEvent event;
  while (cursor.Next(event)) {
    found.push_back(event.record);
  }
  EXPECT_EQ(found, Expected(events, filter));
  std::vector<uint64_t> back;
  while (cursor.Previous(event)) {
    back.insert(back.begin(), event.record);
  }
  EXPECT_EQ(back, found);
}

TEST(QueryTest, CallerStopsASearch) {
  std::mt19937 random(3);
  const Opened opened(Encode(RandomEvents(random, {.records = 5000})));
  EventFilter filter;
  filter.thread = 1000;
  EventCursor cursor(*opened.trace, *opened.index, filter,
                     [](uint64_t, uint64_t) { return false; });
  TraceEvent event;
  EXPECT_FALSE(cursor.Next(event));
  EXPECT_EQ(cursor.GetFault().kind, Fault::CANCELLED);
}

TEST(QueryTest, RegionsOfDomainsAndClustersAreTheirPositions) {
  const ArrayShape shape{3, 2, 4};
  EXPECT_TRUE(Region::Domain(shape, 1, 5).Has({4, 20}));
  EXPECT_FALSE(Region::Domain(shape, 1, 5).Has({8, 20}));
  EXPECT_TRUE(Region::Cluster(shape, 2, 0).Has({23, 7}));
  EXPECT_FALSE(Region::Cluster(shape, 2, 0).Has({15, 7}));
  EXPECT_FALSE(Region::Cluster(shape, 2, 0).Has({16, 8}));
}

std::vector<uint64_t> CountByHand(const std::vector<Event>& events, uint64_t first, uint64_t last,
                                  Activity kind, const ActivityReader& reader, const Index& index) {
  const std::vector<Place>& places = index.GetSummary().switchPlaces;
  std::vector<uint64_t> counts(kind == TRANSMISSIONS
                                   ? places.size()
                                   : static_cast<size_t>(reader.ColumnCount()) * reader.RowCount());
  for (uint64_t i = first; i < last; ++i) {
    const Event& event = events[i];
    if (kind == TRANSMISSIONS && event.type == SWITCH_RECORD) {
      ++counts[static_cast<size_t>(std::find(places.begin(), places.end(), event.at) -
                                   places.begin())];
    } else if (kind == FIRES && event.type == FIRE_RECORD) {
      ++counts[event.at.row * reader.ColumnCount() + event.at.column];
    } else if (kind == SENDS && event.type == SEND_RECORD) {
      ++counts[event.at.row * reader.ColumnCount() + event.at.column];
    } else if (kind == RECEIVES && event.type == SEND_RECORD) {
      ++counts[event.to.row * reader.ColumnCount() + event.to.column];
    }
  }
  return counts;
}

// The array grows while the trace goes on, so that nodes have several sizes.
std::vector<Event> GrowingEvents(std::mt19937& random) {
  std::vector<Event> events;
  uint64_t cycle = 0;
  for (const uint32_t clusters : {1U, 2U, 3U, 3U}) {
    RandomTraceOptions options;
    options.records = 70000;
    options.shape = {clusters, 2, 4};
    options.firstCycle = cycle;
    options.perCycle = 30;
    const std::vector<Event> part = RandomEvents(random, options);
    events.insert(events.end(), part.begin(), part.end());
    cycle = events.back().cycle;
  }
  return events;
}

TEST(ActivityTest, CountsOfAnyRangeAreThoseOfItsRecords) {
  std::mt19937 random(4);
  const std::vector<Event> events = GrowingEvents(random);
  const Opened opened(Encode(events));
  ASSERT_GE(opened.index->Boundaries().size(), 7U);
  const ActivityReader reader(*opened.trace, *opened.index);
  for (int round = 0; round < 60; ++round) {
    uint64_t first = random() % (events.size() + 1);
    uint64_t last = random() % (events.size() + 1);
    if (first > last) {
      std::swap(first, last);
    }
    const Activity kind = static_cast<Activity>(round % 4);
    std::vector<uint64_t> counts;
    Fault fault;
    ASSERT_TRUE(reader.Count(first, last, kind, counts, fault)) << fault.Text();
    ASSERT_EQ(counts, CountByHand(events, first, last, kind, reader, *opened.index))
        << first << " to " << last << ", kind " << kind;
  }
}

TEST(ActivityTest, CountsOfCyclesIncludeBothEnds) {
  std::mt19937 random(5);
  const std::vector<Event> events = GrowingEvents(random);
  const Opened opened(Encode(events));
  const ActivityReader reader(*opened.trace, *opened.index);
  for (int round = 0; round < 12; ++round) {
    const uint64_t from = events[random() % events.size()].cycle;
    const uint64_t to = round == 0 ? ~uint64_t{0} : from + random() % 2000;
    uint64_t first = 0;
    while (first < events.size() && events[first].cycle < from) {
      ++first;
    }
    uint64_t last = first;
    while (last < events.size() && events[last].cycle <= to) {
      ++last;
    }
    std::vector<uint64_t> counts;
    Fault fault;
    ASSERT_TRUE(reader.CountCycles(from, to, FIRES, counts, fault));
    ASSERT_EQ(counts, CountByHand(events, first, last, FIRES, reader, *opened.index));
  }
}

TEST(ActivityTest, ActivityOverTimeAddsUpWhateverTheResolution) {
  std::mt19937 random(6);
  const std::vector<Event> events = GrowingEvents(random);
  const Opened opened(Encode(events));
  const uint64_t last = events.back().cycle;
  for (const size_t bins : {size_t{1}, size_t{2}, size_t{7}, size_t{1000}}) {
    for (const Activity kind : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
      const Region region{{2, 2}, {12, 9}};
      std::vector<uint64_t> expected(bins);
      for (const Event& event : events) {
        const uint32_t type = kind == FIRES           ? FIRE_RECORD
                              : kind == TRANSMISSIONS ? SWITCH_RECORD
                                                      : SEND_RECORD;
        size_t bin = 0;
        while (bin + 1 < bins && event.cycle >= (last + 1) * (bin + 1) / bins) {
          ++bin;
        }
        expected[bin] += event.type == type && region.Has(kind == RECEIVES ? event.to : event.at);
      }
      std::vector<uint64_t> counts;
      Fault fault;
      ASSERT_TRUE(ActivityOverTime(*opened.trace, *opened.index, 0, last, bins, kind, region, {},
                                   counts, fault))
          << fault.Text();
      EXPECT_EQ(counts, expected) << bins << " bins, kind " << kind;
    }
  }
}

TEST(ActivityTest, ActivityOverAllCyclesThereCanBeIsSpreadOverTheBins) {
  constexpr uint64_t MOST = ~uint64_t{0};
  const Opened opened(
      TraceBytes("fire 0 0 1 1\nfire 5 0 1 1\n"
                 "fire 9223372036854775808 0 1 1\n"
                 "fire 18446744073709551615 0 1 1\n"));
  std::vector<uint64_t> counts;
  Fault fault;
  for (const auto& [bins, expected] : std::vector<std::pair<size_t, std::vector<uint64_t>>>{
           {1, {4}}, {2, {2, 2}}, {3, {2, 1, 1}}}) {
    ASSERT_TRUE(ActivityOverTime(*opened.trace, *opened.index, 0, MOST, bins, FIRES, std::nullopt,
                                 {}, counts, fault));
    EXPECT_EQ(counts, expected);
  }
}

TEST(ActivityTest, MoreBinsThanCyclesLeaveBinsEmpty) {
  // So many in a cycle that they are summed from the index.
  std::vector<Event> events(600000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i < 500000 ? i / 250000 : 9;
    events[i].at = {static_cast<uint32_t>(i % 4), 0};
  }
  const Opened opened(Encode(events));
  std::vector<uint64_t> counts;
  Fault fault;
  ASSERT_TRUE(ActivityOverTime(*opened.trace, *opened.index, 0, 1, 3, FIRES, std::nullopt, {},
                               counts, fault));
  EXPECT_EQ(counts, (std::vector<uint64_t>{0, 250000, 250000}));
}

TEST(WalkTest, RecordsChangesAndCyclesAreFoundWhereTheyAre) {
  std::mt19937 random(7);
  for (const bool falling : {false, true}) {
    RandomTraceOptions options;
    options.records = 20000;
    options.perCycle = 9;
    options.falling = falling;
    const std::vector<Event> events = RandomEvents(random, options);
    const Opened opened(Encode(events));
    std::vector<uint64_t> changes(events.size());
    std::vector<uint64_t> offsets(events.size());
    for (size_t i = 1; i < events.size(); ++i) {
      changes[i] = changes[i - 1] + (events[i].cycle != events[i - 1].cycle);
      offsets[i] = offsets[i - 1] + RecordSize(events[i - 1].type);
    }
    for (int round = 0; round < 200; ++round) {
      const uint64_t record = random() % events.size();
      IndexEntry entry;
      Fault fault;
      ASSERT_TRUE(Locate(*opened.trace, *opened.index, record, entry, fault));
      EXPECT_EQ(entry.record, record);
      EXPECT_EQ(entry.offset, offsets[record]);
      EXPECT_EQ(entry.cycle, events[record].cycle);
      EXPECT_EQ(entry.changes, changes[record]);
      uint64_t found = 0;
      ASSERT_TRUE(FindChange(*opened.trace, *opened.index, changes[record], found, fault));
      EXPECT_EQ(found, static_cast<uint64_t>(
                           std::lower_bound(changes.begin(), changes.end(), changes[record]) -
                           changes.begin()));
      const uint64_t cycle = events[record].cycle + random() % 2;
      ASSERT_TRUE(FindCycle(*opened.trace, *opened.index, cycle, found, fault));
      uint64_t expected = 0;
      while (expected < events.size() && events[expected].cycle < cycle) {
        ++expected;
      }
      EXPECT_EQ(found, expected) << "cycle " << cycle;
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
