#include "trace/ask/EventCursor.h"

#include <gtest/gtest.h>

#include <fstream>
#include <numeric>
#include <random>

#include "tests/support/TraceText.h"
#include "tests/trace/support/Filters.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "tests/trace/support/Told.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/Walk.h"

namespace marrowfin::testing {
namespace {

std::vector<uint64_t> FindAll(EventCursor& cursor) {
  std::vector<uint64_t> records;
  TraceEvent event;
  while (cursor.Next(event)) {
    records.push_back(event.record);
  }
  EXPECT_FALSE(cursor.GetFault()) << cursor.GetFault().Text();
  return records;
}

std::vector<uint64_t> FindAllBack(EventCursor& cursor) {
  std::vector<uint64_t> records;
  TraceEvent event;
  while (cursor.Previous(event)) {
    records.insert(records.begin(), event.record);
  }
  EXPECT_FALSE(cursor.GetFault()) << cursor.GetFault().Text();
  return records;
}

void CompareQueries(const std::vector<Event>& events, uint32_t side, int rounds,
                    std::mt19937& random, IndexLimits limits = {}) {
  Opened opened(Encode(events));
  IndexAnew(opened, limits);
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
    ASSERT_EQ(FindAllBack(cursor), forward) << "round " << round;
  }
}

TEST(QueryTest, CursorFindsExactlyTheEventsThatMatchInBothDirections) {
  std::mt19937 random(1);
  for (int round = 0; round < 30; ++round) {
    RandomTraceOptions options;
    options.records = 1 + random() % 400;
    options.shape = {2, 1, 4};
    options.falling = round % 3 == 0;
    options.firstCycle = round % 2;
    CompareQueries(RandomEvents(random, options), 8, 20, random);
    ASSERT_FALSE(HasFatalFailure());
  }
}

TEST(QueryTest, CursorTurnsRoundAnywhere) {
  std::mt19937 random(12);
  RandomTraceOptions options;
  options.records = 6000;
  options.shape = {1, 1, 4};
  const std::vector<Event> events = RandomEvents(random, options);
  Opened opened(Encode(events));
  IndexAnew(opened, {.segmentRecords = 1, .entryRecords = 600});
  EventFilter filter;
  filter.thread = 3;
  filter.region = Region::Element({1, 1});
  const std::vector<uint64_t> expected = Expected(events, filter);
  ASSERT_GT(expected.size(), 10U);
  EventCursor cursor(*opened.trace, *opened.index, filter);
  size_t at = 0;  // the one that Next finds
  TraceEvent event;
  for (int round = 0; round < 300; ++round) {
    for (size_t steps = random() % 20; steps > 0; --steps) {
      if (round % 2 == 0) {
        ASSERT_EQ(cursor.Next(event), at < expected.size());
        at += at < expected.size() ? 1 : 0;
        ASSERT_EQ(event.record, expected[at - 1]);
      } else {
        ASSERT_EQ(cursor.Previous(event), at > 0);
        at -= at > 0 ? 1 : 0;
        ASSERT_EQ(event.record, expected[at]);
      }
    }
  }
}

TEST(QueryTest, RangesOfStepsAreWhatTheStepsOfAViewerConsume) {
  // Record 0 goes to the start; cycle 0 lasts until the first event of cycle 5 was taken.
  const Opened opened(
      TraceBytes("fire 0 0 0 0\nfire 0 0 1 0\nfire 5 0 2 0\nfire 5 0 3 0\n"
                 "fire 6 0 0 1\nfire 6 0 1 1\n"));
  const auto find = [&](uint64_t first, uint64_t last, uint64_t skipTo) {
    EventFilter filter;
    filter.firstStep = first;
    filter.lastStep = last;
    filter.skipTo = skipTo;
    EventCursor cursor(*opened.trace, *opened.index, filter);
    return FindAll(cursor);
  };
  typedef std::vector<uint64_t> Records;
  EXPECT_EQ(find(0, 0, 0), Records({0}));
  EXPECT_EQ(find(1, 1, 0), Records({1, 2}));
  EXPECT_EQ(find(2, 2, 0), Records({3, 4}));
  EXPECT_EQ(find(3, 3, 0), Records({5}));
  EXPECT_EQ(find(4, 9, 0), Records());
  EXPECT_EQ(find(2, 1, 0), Records());
  EXPECT_EQ(find(1, 2, 0), Records({1, 2, 3, 4}));
  // A start that skips to cycle 5 takes its first event too, and the next one differs from cycle 0.
  EXPECT_EQ(find(0, 0, 5), Records({0, 1, 2}));
  EXPECT_EQ(find(1, 1, 5), Records({3}));
  EXPECT_EQ(find(2, 2, 5), Records({4}));
  EXPECT_EQ(find(3, 3, 5), Records({5}));
  EXPECT_EQ(find(0, 0, 99), Records({0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(find(1, 1, 99), Records());
}

// Busy everywhere but in a corner, whose few events are asked for.
constexpr size_t LONG = 120000;
constexpr uint64_t SEGMENT = 1024;
constexpr IndexLimits SHORT_SEGMENTS = {.segmentRecords = SEGMENT, .entryRecords = 512};
const Region CORNER = {{0, 0}, {3, 3}};

std::vector<Event> QuietCorner(std::mt19937& random, const std::vector<size_t>& known) {
  RandomTraceOptions options;
  options.records = LONG;
  options.shape = {2, 2, 4};
  options.perCycle = 50;
  std::vector<Event> events = RandomEvents(random, options);
  for (Event& event : events) {
    event.at.column |= event.type == SWITCH_RECORD ? 0 : 8;
    event.to.column |= event.type == SEND_RECORD ? 8 : 0;
  }
  for (const size_t record : known) {
    events[record] = {FIRE_RECORD, events[record].cycle, 1, {2, 1}, {}};
  }
  return events;
}

TEST(QueryTest, SegmentsWithoutActivityInTheRegionAreNotRead) {
  std::mt19937 random(2);
  const std::vector<Event> events = QuietCorner(random, {500, 50000, 50001, 77777});
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  ASSERT_GT(opened.index->Boundaries().size(), 100U);
  EventFilter filter;
  filter.region = CORNER;
  EventCursor cursor(*opened.trace, *opened.index, filter);
  EXPECT_EQ(FindAll(cursor), Expected(events, filter));
  // Three segments have such events, and of what follows the last boundary the index knows nothing.
  const uint64_t forward = cursor.RecordsRead();
  EXPECT_GE(forward, 3 * SEGMENT);
  EXPECT_LE(forward, 4 * SEGMENT);
  EXPECT_EQ(FindAllBack(cursor), Expected(events, filter));
  EXPECT_LE(cursor.RecordsRead() - forward, 8 * SEGMENT);
}

TEST(QueryTest, SegmentsWithoutEventsOfTheTypeAreNotRead) {
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    std::mt19937 random(3);
    std::vector<Event> events = QuietCorner(random, {});
    for (Event& event : events) {
      event.type = type == FIRE_RECORD ? SEND_RECORD : FIRE_RECORD;
    }
    events[60000].type = type;
    events[60000].at = {4, 4};
    Opened opened(Encode(events));
    IndexAnew(opened, SHORT_SEGMENTS);
    EventFilter filter;
    filter.switches = type == SWITCH_RECORD;
    filter.fires = type == FIRE_RECORD;
    filter.sends = type == SEND_RECORD;
    EventCursor cursor(*opened.trace, *opened.index, filter);
    EXPECT_EQ(FindAll(cursor), std::vector<uint64_t>({60000})) << type;
    EXPECT_LE(cursor.RecordsRead(), 2 * SEGMENT) << type;
  }
}

TEST(QueryTest, RangeThatBeginsWithinAQuietSegmentReadsNothingOfIt) {
  std::mt19937 random(4);
  const std::vector<Event> events = QuietCorner(random, {5});
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  EventFilter filter;
  filter.region = CORNER;
  filter.firstRecord = 10 * SEGMENT + 300;
  filter.lastRecord = 90 * SEGMENT + 300;
  EventCursor cursor(*opened.trace, *opened.index, filter);
  TraceEvent event;
  EXPECT_FALSE(cursor.Next(event));
  EXPECT_FALSE(cursor.Previous(event));
  EXPECT_EQ(cursor.RecordsRead(), 0U);
}

TEST(QueryTest, EachRecordIsReadOnceOnTheWayForwardHoweverFarEntriesStandApart) {
  std::mt19937 random(5);
  const std::vector<Event> events = QuietCorner(random, {});
  EventFilter filter;
  filter.thread = 3;
  const std::vector<uint64_t> expected = Expected(events, filter);
  for (const uint64_t apart : {512U, 1U << 20}) {
    Opened opened(Encode(events));
    IndexAnew(opened, {.segmentRecords = SEGMENT * 9, .entryRecords = apart});
    EventCursor cursor(*opened.trace, *opened.index, filter);
    EXPECT_EQ(FindAll(cursor), expected);
    EXPECT_EQ(cursor.RecordsRead(), LONG) << apart;
    EXPECT_EQ(FindAllBack(cursor), expected);
    EXPECT_LE(cursor.RecordsRead(), 3 * LONG) << apart;
  }
}

TEST(QueryTest, CursorFindsExactlyTheEventsThatMatchInManySegments) {
  std::mt19937 random(6);
  for (const bool falling : {false, true}) {
    RandomTraceOptions options;
    options.records = 20000;
    options.shape = {2, 1, 4};
    options.perCycle = 50;
    options.falling = falling;
    std::vector<Event> events = RandomEvents(random, options);
    for (size_t i = 3000; i < 16000; ++i) {
      events[i].at.column |= events[i].type == SWITCH_RECORD ? 0 : 4;
      events[i].to.column |= events[i].type == SEND_RECORD ? 4 : 0;
    }
    CompareQueries(events, 8, 60, random, {.segmentRecords = 1, .entryRecords = 700});
  }
}

TEST(QueryTest, CursorFindsExactlyTheEventsThatMatchWhereThreadsAndPlacesAreQuietForLong) {
  std::mt19937 random(21);
  for (const uint64_t maskRecords : {uint64_t{1}, uint64_t{1000}, uint64_t{1} << 40}) {
    CompareQueries(PhasedEvents(random, 20000, 8), 8, 60, random,
                   {.segmentRecords = 1, .entryRecords = 700, .maskRecords = maskRecords});
    ASSERT_FALSE(HasFatalFailure());
  }
}

TEST(QueryTest, CursorGoesOnFromWhereverItIsPlaced) {
  std::mt19937 random(22);
  const std::vector<Event> events = PhasedEvents(random, 12000, 8);
  Opened opened(Encode(events));
  IndexAnew(opened, {.segmentRecords = 1, .entryRecords = 600, .maskRecords = 1});
  for (int round = 0; round < 20; ++round) {
    const EventFilter filter = RandomFilter(random, events, 8);
    const std::vector<uint64_t> expected = Expected(events, filter);
    EventCursor cursor(*opened.trace, *opened.index, filter);
    for (int place = 0; place < 30; ++place) {
      const uint64_t record = random() % (events.size() + 10);
      cursor.Seek(record);
      auto next = std::lower_bound(expected.begin(), expected.end(), record);
      TraceEvent event;
      for (int step = 0; step < 4; ++step) {
        if (random() % 2 == 0) {
          ASSERT_EQ(cursor.Next(event), next != expected.end());
          ASSERT_TRUE(next == expected.end() || event.record == *next++);
        } else {
          ASSERT_EQ(cursor.Previous(event), next != expected.begin());
          ASSERT_TRUE(next == expected.begin() || event.record == *--next);
        }
      }
    }
  }
}

TEST(QueryTest, WhatLiesFarFromWhereTheCursorIsPlacedIsNotRead) {
  std::mt19937 random(23);
  const std::vector<Event> events = QuietCorner(random, {});
  Opened opened(Encode(events));
  IndexAnew(opened, SHORT_SEGMENTS);
  EventCursor cursor(*opened.trace, *opened.index, {});
  cursor.Seek(LONG / 2);
  TraceEvent event;
  ASSERT_TRUE(cursor.Previous(event));
  EXPECT_EQ(event.record, LONG / 2 - 1);
  ASSERT_TRUE(cursor.Next(event));
  ASSERT_TRUE(cursor.Next(event));
  EXPECT_EQ(event.record, LONG / 2);
  EXPECT_LE(cursor.RecordsRead(), 4 * SEGMENT);
}

TEST(QueryTest, SegmentsWithoutEventsOfTheThreadAreNotRead) {
  for (const uint32_t thread : {7U, 100U}) {
    std::mt19937 random(24);
    std::vector<Event> events = QuietCorner(random, {});
    for (Event& event : events) {
      event.thread = event.thread == 7 ? 6 : event.thread;
    }
    events[60000].thread = thread;
    Opened opened(Encode(events));
    IndexAnew(opened, SHORT_SEGMENTS);
    EventFilter filter;
    filter.thread = thread;
    EventCursor cursor(*opened.trace, *opened.index, filter);
    EXPECT_EQ(FindAll(cursor), std::vector<uint64_t>({60000}));
    EXPECT_LE(cursor.RecordsRead(), 2 * SEGMENT) << "the end of the trace is known, too";
    EXPECT_EQ(FindAllBack(cursor), std::vector<uint64_t>({60000}));
    EXPECT_LE(cursor.RecordsRead(), 5 * SEGMENT);
    filter.thread = 12345;
    EventCursor nowhere(*opened.trace, *opened.index, filter);
    EXPECT_TRUE(FindAll(nowhere).empty());
    EXPECT_EQ(nowhere.RecordsRead(), 0U);
  }
}

TEST(QueryTest, StretchesInWhichTheThreadIsNeverInTheRegionAreNotRead) {
  std::mt19937 random(25);
  std::vector<Event> events = QuietCorner(random, {});
  // Both the region and the thread have something in every segment, but together once only.
  for (size_t i = 0; i < LONG; i += 100) {
    events[i] = {FIRE_RECORD, events[i].cycle, 2, {2, 1}, {}};
  }
  events[60000].thread = 5;
  Opened opened(Encode(events));
  IndexAnew(opened, {.segmentRecords = SEGMENT, .entryRecords = 512, .maskRecords = 4 * SEGMENT});
  EventFilter filter;
  filter.region = Region::Element({2, 1});
  filter.thread = 5;
  EventCursor cursor(*opened.trace, *opened.index, filter);
  EXPECT_EQ(FindAll(cursor), std::vector<uint64_t>({60000}));
  // Four segments of the mask, and what lies behind the last boundary and the last mask.
  EXPECT_LE(cursor.RecordsRead(), 9 * SEGMENT);
  EXPECT_EQ(Expected(events, filter), std::vector<uint64_t>({60000}));
}

TEST(QueryTest, SearchThatWasStoppedIsTakenUpWhereTheCursorIsPlaced) {
  std::mt19937 random(26);
  const std::vector<Event> events = RandomEvents(random, {.records = 5000});
  const Opened opened(Encode(events));
  EventFilter filter;
  filter.region = Region::Element(events[4000].at);
  bool stop = true;
  EventCursor cursor(*opened.trace, *opened.index, filter, [&](const Progress&) { return !stop; });
  TraceEvent event;
  EXPECT_FALSE(cursor.Next(event));
  EXPECT_EQ(cursor.GetFault().kind, Fault::CANCELLED);
  stop = false;
  EXPECT_FALSE(cursor.Next(event)) << "a fault stays";
  cursor.Seek(4000);
  EXPECT_FALSE(cursor.GetFault());
  ASSERT_TRUE(cursor.Next(event));
  EXPECT_EQ(event.record, 4000U);
}

TEST(QueryTest, ProgressOfASearchRisesToTheWholeInBothDirections) {
  std::mt19937 random(7);
  Opened opened(Encode(QuietCorner(random, {5, 60000})));
  IndexAnew(opened, SHORT_SEGMENTS);
  EventFilter filter;
  filter.region = CORNER;
  filter.firstRecord = 10;
  filter.lastRecord = LONG - 2000;
  Told told;
  EventCursor cursor(*opened.trace, *opened.index, filter, told.Callback());
  EXPECT_EQ(FindAll(cursor).size(), 1U);
  told.ExpectToRiseToTheWhole();
  EXPECT_EQ(told.wholes[0], LONG - 2010);
  told.values.clear();
  told.wholes.clear();
  TraceEvent event;
  EXPECT_TRUE(cursor.Previous(event));
  told.values.clear();
  told.wholes.clear();
  EXPECT_FALSE(cursor.Previous(event));
  told.ExpectToRiseToTheWhole();
}

TEST(QueryTest, CallerStopsWhileSegmentsArePassedOver) {
  std::mt19937 random(8);
  Opened opened(Encode(QuietCorner(random, {})));
  IndexAnew(opened, SHORT_SEGMENTS);
  EventFilter filter;
  filter.region = CORNER;
  filter.lastRecord = 100 * SEGMENT;
  for (size_t stopAt = 1; stopAt < 8; ++stopAt) {
    Told told;
    told.stopAt = stopAt;
    EventCursor cursor(*opened.trace, *opened.index, filter, told.Callback());
    TraceEvent event;
    EXPECT_FALSE(cursor.Next(event));
    EXPECT_EQ(cursor.GetFault().kind, Fault::CANCELLED);
    EXPECT_EQ(told.values.size(), stopAt);
    EXPECT_EQ(cursor.RecordsRead(), 0U);
  }
  for (size_t stopAt = 1; stopAt < 8; ++stopAt) {
    Told told;
    EventCursor cursor(*opened.trace, *opened.index, filter, told.Callback());
    EXPECT_TRUE(FindAll(cursor).empty());
    told.stopAt = told.values.size() + stopAt;
    TraceEvent event;
    EXPECT_FALSE(cursor.Previous(event));
    EXPECT_EQ(cursor.GetFault().kind, Fault::CANCELLED);
    EXPECT_EQ(told.values.size(), told.stopAt);
    EXPECT_EQ(cursor.RecordsRead(), 0U);
  }
}

TEST(QueryTest, CallerStopsASearchOnItsWayBack) {
  std::mt19937 random(9);
  const Opened opened(Encode(RandomEvents(random, {.records = 5000})));
  EventFilter filter;
  filter.region = Region::Element({500, 500});
  Told told;
  EventCursor cursor(*opened.trace, *opened.index, filter, told.Callback());
  EXPECT_TRUE(FindAll(cursor).empty());
  told.stopAt = told.values.size() + 3;
  TraceEvent event;
  EXPECT_FALSE(cursor.Previous(event));
  EXPECT_EQ(cursor.GetFault().kind, Fault::CANCELLED);
  EXPECT_EQ(told.values.size(), told.stopAt);
}

TEST(QueryTest, CallerStopsASearch) {
  std::mt19937 random(3);
  const Opened opened(Encode(RandomEvents(random, {.records = 5000})));
  EventFilter filter;
  filter.region = Region::Element({500, 500});
  EventCursor cursor(*opened.trace, *opened.index, filter, [](const Progress&) { return false; });
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
    ASSERT_TRUE(IsFine(reader.Count(first, last, kind, counts)));
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
    ASSERT_TRUE(IsFine(reader.CountCycles(from, to, FIRES, counts)));
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
      ASSERT_TRUE(Take(ActivityOverTime(*opened.trace, *opened.index, 0, last, bins, kind, region),
                       counts));
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
  for (const auto& [bins, expected] : std::vector<std::pair<size_t, std::vector<uint64_t>>>{
           {1, {4}}, {2, {2, 2}}, {3, {2, 1, 1}}}) {
    ASSERT_TRUE(Take(ActivityOverTime(*opened.trace, *opened.index, 0, MOST, bins, FIRES), counts));
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
  ASSERT_TRUE(Take(ActivityOverTime(*opened.trace, *opened.index, 0, 1, 3, FIRES), counts));
  EXPECT_EQ(counts, (std::vector<uint64_t>{0, 250000, 250000}));
}

TEST(ActivityTest, CallerHearsOfActivityOverTimeAndStopsIt) {
  std::vector<Event> events(600000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i / 1000;
  }
  const Opened opened(Encode(events));
  // Summed from the index, and counted record by record.
  for (const size_t bins : {size_t{4}, size_t{100}}) {
    const auto ask = [&](Told& told) {
      return ActivityOverTime(*opened.trace, *opened.index, 0, 599, bins, FIRES, std::nullopt,
                              told.Callback())
          .Why();
    };
    Told told;
    EXPECT_TRUE(IsFine(ask(told)));
    told.ExpectToRiseToTheWhole();
    for (const size_t stopAt : {size_t{1}, size_t{3}, told.values.size()}) {
      Told stopped;
      stopped.stopAt = stopAt;
      EXPECT_EQ(ask(stopped).kind, Fault::CANCELLED);
      EXPECT_EQ(stopped.values.size(), stopAt);
    }
  }
}

// A fault is the verdict on one question and none on the next.
TEST(ActivityTest, CountBehindOneThatFailedIsRight) {
  const Opened falling(TraceBytes("fire 2 0 1 1\nfire 1 0 1 1\nfire 3 0 0 1\n"));
  const ActivityReader reader(*falling.trace, *falling.index);
  std::vector<uint64_t> counts;
  Fault fault = reader.CountCycles(1, 2, FIRES, counts);
  EXPECT_EQ(fault.kind, Fault::FALLING_CYCLE);
  fault = reader.Count(0, 3, FIRES, counts);
  EXPECT_TRUE(IsFine(fault));
  EXPECT_EQ(std::accumulate(counts.begin(), counts.end(), uint64_t{0}), 3U);
}

TEST(WalkTest, SearchBehindOneThatWasStoppedFindsItsCycle) {
  std::vector<Event> events(20000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i == 19000 ? 7 : i % 5;
  }
  const Opened opened(Encode(events));
  Result<uint64_t> found =
      FindCycle(*opened.trace, *opened.index, 7, [](const Progress&) { return false; });
  EXPECT_EQ(found.Why().kind, Fault::CANCELLED);
  found = FindCycle(*opened.trace, *opened.index, 7);
  EXPECT_TRUE(IsFine(found.Why()));
  ASSERT_TRUE(found);
  EXPECT_EQ(*found, 19000U);
}

TEST(WalkTest, CallerStopsTheSearchForACycleWhereCyclesFall) {
  std::vector<Event> events(20000);
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = i == 10 ? 9 : i == 19000 ? 7 : i % 5;
  }
  const Opened opened(Encode(events));
  Told told;
  uint64_t record = 0;
  ASSERT_TRUE(Take(FindCycle(*opened.trace, *opened.index, 8, told.Callback()), record));
  EXPECT_EQ(record, 10U);
  events[10].cycle = 3;
  const Opened late(Encode(events));
  ASSERT_TRUE(Take(FindCycle(*late.trace, *late.index, 7, told.Callback()), record));
  EXPECT_EQ(record, 19000U);
  EXPECT_GT(told.values.size(), 50U);
  EXPECT_TRUE(std::is_sorted(told.values.begin(), told.values.end()));
  EXPECT_EQ(told.wholes.back(), events.size());
  Told stopped;
  stopped.stopAt = 3;
  EXPECT_EQ(FindCycle(*late.trace, *late.index, 7, stopped.Callback()).Why().kind,
            Fault::CANCELLED);
  EXPECT_EQ(stopped.values.size(), 3U);
  // A search among steps has to find the cycle first.
  EventFilter filter;
  filter.skipTo = 7;
  filter.firstStep = 1;
  Told early;
  early.stopAt = 2;
  EventCursor cursor(*late.trace, *late.index, filter, early.Callback());
  TraceEvent event;
  EXPECT_FALSE(cursor.Next(event));
  EXPECT_EQ(cursor.GetFault().kind, Fault::CANCELLED);
  EXPECT_EQ(cursor.RecordsRead(), 0U);
}

// A simulator that runs again empties the file and writes it anew, while it is open here.
class RewrittenTraceTest : public ::testing::Test {
 protected:
  static std::vector<Event> Run(size_t records, uint32_t column) {
    std::vector<Event> events(records);
    for (size_t i = 0; i < records; ++i) {
      events[i].cycle = i / 10;
      events[i].at = {column, static_cast<uint32_t>(i % 8)};
    }
    return events;
  }

  static void Expect(const Fault& fault) { EXPECT_EQ(fault.kind, Fault::CHANGED) << fault.Text(); }

  static void AskAll(const Opened& opened) {
    std::vector<uint64_t> counts;
    const ActivityReader reader(*opened.trace, *opened.index);
    Expect(reader.Count(3, 20, FIRES, counts));
    Expect(reader.CountCycles(3, 20, FIRES, counts));
    Expect(ActivityOverTime(*opened.trace, *opened.index, 0, 100, 3, FIRES).Why());
    EventFilter all;
    EventFilter none;
    none.thread = 5;
    EventFilter beyond;
    beyond.firstCycle = 1 << 20;
    for (const EventFilter& filter : {all, none, beyond}) {
      EventCursor cursor(*opened.trace, *opened.index, filter);
      TraceEvent event;
      EXPECT_FALSE(cursor.Next(event));
      Expect(cursor.GetFault());
    }
  }
};

TEST_F(RewrittenTraceTest, QuestionsAreAnsweredByAFaultThatSaysSo) {
  for (const size_t records : {size_t{40000}, size_t{500}}) {
    for (const size_t after : {records, records / 2, size_t{0}, records + 1, 2 * records}) {
      for (const uint32_t column : {7U, 500U}) {
        const Opened opened(Encode(Run(records, 3)));
        WriteFile(opened.name, Encode(Run(after, column)));
        AskAll(opened);
        ASSERT_FALSE(HasFailure()) << records << " records, then " << after << " at " << column;
      }
    }
  }
}

TEST_F(RewrittenTraceTest, WalkThatMeetsAContradictionSaysThatTheTraceChanged) {
  const Opened opened(Encode(Run(1000, 3)));
  WriteFile(opened.name, std::string(1000 * SMALL_RECORD, 'x'));
  Expect(Walk(*opened.trace, *opened.index, 0, 1000,
              [](const Columns&, size_t, size_t) { return true; }));
}

TEST_F(RewrittenTraceTest, SearchThatIsUnderWayTellsNoEventOfTheNewTrace) {
  for (const bool back : {false, true}) {
    const Opened current(Encode(Run(40000, 3)));
    EventFilter filter;
    EventCursor cursor(*current.trace, *current.index, filter);
    TraceEvent event;
    for (int i = 0; i < 20000; ++i) {
      ASSERT_TRUE(cursor.Next(event));
    }
    WriteFile(current.name, Encode(Run(40000, 4)));
    int more = 0;
    while (back ? cursor.Previous(event) : cursor.Next(event)) {
      ASSERT_EQ(event.at.column, 3U);
      ++more;
    }
    EXPECT_LE(more, 256);
    Expect(cursor.GetFault());
  }
}

TEST_F(RewrittenTraceTest, TraceThatGrewIsAnsweredAsItWas) {
  for (const size_t records : {size_t{40000}, size_t{500}, size_t{0}}) {
    const Opened opened(Encode(Run(records, 3)));
    {
      std::ofstream more(opened.name, std::ios::binary | std::ios::app);
      more << Encode(Run(7, 9));
    }
    EventFilter filter;
    filter.lastRecord = 100;
    EventCursor cursor(*opened.trace, *opened.index, filter);
    EXPECT_EQ(FindAll(cursor).size(), std::min(records, size_t{100}));
    std::vector<uint64_t> counts;
    EXPECT_TRUE(IsFine(ActivityReader(*opened.trace, *opened.index).Count(0, 9, FIRES, counts)));
  }
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
      ASSERT_TRUE(Take(Locate(*opened.trace, *opened.index, record), entry));
      EXPECT_EQ(entry.record, record);
      EXPECT_EQ(entry.offset, offsets[record]);
      EXPECT_EQ(entry.cycle, events[record].cycle);
      EXPECT_EQ(entry.changes, changes[record]);
      uint64_t found = 0;
      ASSERT_TRUE(Take(FindChange(*opened.trace, *opened.index, changes[record]), found));
      EXPECT_EQ(found, static_cast<uint64_t>(
                           std::lower_bound(changes.begin(), changes.end(), changes[record]) -
                           changes.begin()));
      const uint64_t cycle = events[record].cycle + random() % 2;
      ASSERT_TRUE(Take(FindCycle(*opened.trace, *opened.index, cycle), found));
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
