#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

#include "tests/trace/support/Filters.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/ActivityReader.h"
#include "trace/ask/EventCounter.h"
#include "trace/ask/EventCursor.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/StateReader.h"

namespace marrowfin::testing {
namespace {

constexpr uint32_t FARTHEST = ~uint32_t{0};
constexpr ArrayShape SHAPE = {2, 2, 4};

Event Message(const Event& like, Place at, Place to) {
  Event event = like;
  event.type = SEND_RECORD;
  event.at = at;
  event.to = to;
  return event;
}

// Events on a small array, with few messages from and to places far off it.
std::vector<Event> EventsWithFarEnds() {
  std::mt19937 random(7);
  std::vector<Event> events = RandomEvents(random, {.records = 200000, .shape = SHAPE});
  for (const auto& [record, at, to] :
       std::vector<std::tuple<size_t, Place, Place>>{{1000, {3, 4}, {FARTHEST, FARTHEST}},
                                                     {70000, {FARTHEST, 2}, {5, 6}},
                                                     {70001, {1, 1}, {3, 1000}},
                                                     {150000, {64, 3}, {2000, 2000}},
                                                     {199999, {0, FARTHEST}, {0, 0}}}) {
    events[record] = Message(events[record], at, to);
  }
  return events;
}

// The array grows long after messages went to where it will be.
std::vector<Event> EventsAheadOfTheArray() {
  std::mt19937 random(8);
  std::vector<Event> events = RandomEvents(random, {.records = 250000, .shape = SHAPE});
  for (size_t i = 0; i < events.size(); ++i) {
    if (events[i].type == FIRE_RECORD && i > 150000) {
      events[i].at = {events[i].at.column * 8, events[i].at.row * 8};
    }
    if (events[i].type == SEND_RECORD && i % 1000 < 10 && i < 110000) {
      events[i].to = {70 + static_cast<uint32_t>(i % 10), 100};
    }
  }
  return events;
}

// What a trace that is opened anew, without an index, tells of the same question.
ArrayState FromScratch(const std::vector<Event>& events, uint64_t records, uint64_t step) {
  const Opened fresh(Encode({events.begin(), events.begin() + static_cast<ptrdiff_t>(records)}));
  ArrayState state;
  EXPECT_TRUE(Take(StateReader(*fresh.trace, *fresh.index, SHAPE).AtStep(step, 0), state));
  return state;
}

TEST(FarEndsTest, KeyframesAreKeptAndAsLargeAsTheArray) {
  const Opened opened(Encode(EventsWithFarEnds()));
  EXPECT_TRUE(opened.index->HasBoundaries());
  ASSERT_GE(opened.index->Boundaries().size(), 5U);
  for (const IndexBoundary& boundary : opened.index->Boundaries()) {
    EXPECT_EQ(boundary.columns, 16U);
    EXPECT_EQ(boundary.rows, 16U);
  }
  const Summary& summary = opened.index->GetSummary();
  EXPECT_EQ(summary.array, (Extent{16, 16}));
  EXPECT_EQ(summary.sent, (Extent{uint64_t{1} << 32, uint64_t{1} << 32}));
  EXPECT_EQ(summary.far.count, 6U);
  EXPECT_EQ(summary.far.column, 64U);
  EXPECT_EQ(summary.far.row, 1000U);
}

TEST(FarEndsTest, StatesAreThoseOfTheSameTraceWithoutThem) {
  const std::vector<Event> events = EventsWithFarEnds();
  // A message that stays on the array touches no piece either.
  std::vector<Event> near = events;
  for (Event& event : near) {
    const bool outside = !SHAPE.HasElement(event.at) || !SHAPE.HasElement(event.to);
    event = event.type == SEND_RECORD && outside ? Message(event, {1, 1}, {2, 2}) : event;
  }
  const Opened opened(Encode(events));
  const Opened other(Encode(near));
  const StateReader reader(*opened.trace, *opened.index, SHAPE);
  const StateReader expected(*other.trace, *other.index, SHAPE);
  const uint64_t steps = *reader.CountSteps(0);
  std::mt19937 random(9);
  for (int round = 0; round < 50; ++round) {
    const uint64_t step = random() % steps + 1;
    ArrayState state;
    ArrayState right;
    ASSERT_TRUE(Take(reader.AtStep(step, 0), state));
    ASSERT_TRUE(Take(expected.AtStep(step, 0), right));
    EXPECT_EQ(state.last, right.last);
    EXPECT_EQ(state.elementCodes, right.elementCodes) << "step " << step;
    EXPECT_EQ(state.switchCodes, right.switchCodes) << "step " << step;
    EXPECT_EQ(state.messages.size(), right.messages.size()) << "step " << step;
  }
}

TEST(FarEndsTest, StateBehindAFarEndIsThatOfAShortTraceReplayed) {
  const std::vector<Event> events = EventsWithFarEnds();
  const Opened opened(Encode(events));
  const StateReader reader(*opened.trace, *opened.index, SHAPE);
  for (const uint64_t step : {100, 250, 400}) {
    ArrayState state;
    ASSERT_TRUE(Take(reader.AtStep(step, 0), state));
    const ArrayState right = FromScratch(events, 5000, step);
    EXPECT_EQ(state.elementCodes, right.elementCodes);
    ASSERT_EQ(state.messages.size(), right.messages.size());
    for (size_t i = 0; i < state.messages.size(); ++i) {
      EXPECT_EQ(state.messages[i].to, right.messages[i].to);
    }
  }
}

std::vector<Region> RegionsToAsk() {
  return {{{0, 0}, {15, 15}},
          {{3, 4}, {3, 4}},
          {{5, 6}, {5, 6}},
          {{0, 0}, {FARTHEST, FARTHEST}},
          {{64, 3}, {64, 3}},
          {{2, 900}, {4, 1100}},
          {{0, FARTHEST}, {0, FARTHEST}},
          {{FARTHEST, 0}, {FARTHEST, FARTHEST}},
          {{16, 0}, {63, 63}},
          {{70, 90}, {80, 110}},
          {{100, 0}, {127, 127}}};
}

void ExpectEventsOfRegions(const std::vector<Event>& events, const Opened& opened) {
  for (const Region& region : RegionsToAsk()) {
    EventFilter filter;
    filter.region = region;
    filter.fires = false;
    filter.switches = false;
    std::vector<uint64_t> expected;
    for (size_t i = 0; i < events.size(); ++i) {
      const bool is =
          events[i].type == SEND_RECORD && (region.Has(events[i].at) || region.Has(events[i].to));
      expected.insert(expected.end(), is ? 1 : 0, i);
    }
    EventCursor cursor(*opened.trace, *opened.index, filter);
    std::vector<uint64_t> found;
    TraceEvent event;
    while (cursor.Next(event)) {
      found.push_back(event.record);
    }
    EXPECT_EQ(found, expected) << region.first.column << ", " << region.first.row;
    std::vector<uint64_t> back;
    while (cursor.Previous(event)) {
      back.push_back(event.record);
    }
    std::reverse(back.begin(), back.end());
    EXPECT_EQ(back, expected) << region.first.column << ", " << region.first.row;
    EventCounter counter(*opened.trace, *opened.index, filter);
    uint64_t count = 0;
    EXPECT_TRUE(Take(counter.Count(), count));
    EXPECT_EQ(count, expected.size());
  }
}

TEST(FarEndsTest, EventsAreFoundAndCountedWhereverTheirEndsAre) {
  const std::vector<Event> events = EventsWithFarEnds();
  ExpectEventsOfRegions(events, Opened(Encode(events)));
}

TEST(FarEndsTest, EventsAheadOfTheArrayAreFoundAndCounted) {
  const std::vector<Event> events = EventsAheadOfTheArray();
  const Opened opened(Encode(events));
  ASSERT_EQ(opened.index->Boundaries().front().columns, 16U);
  ASSERT_EQ(opened.index->Boundaries().back().columns, 128U);
  ExpectEventsOfRegions(events, opened);
}

TEST(FarEndsTest, WhatIsOnTheArrayIsStillToldByTheIndexAlone) {
  std::vector<Event> events = EventsWithFarEnds();
  for (Event& event : events) {
    // Of an element that sends and receives no index tells how many events it has.
    const bool sends = event.type == SEND_RECORD && event.at == Place{15, 15};
    event.at = sends ? Place{14, 15} : event.at;
  }
  const Opened opened(Encode(events));
  EventFilter filter;
  filter.fires = false;
  filter.switches = false;
  filter.region = Region{{15, 15}, {15, 15}};
  EventCounter on(*opened.trace, *opened.index, filter);
  EXPECT_TRUE(*on.IsTold());
  filter.region = Region{{15, 15}, {64, 64}};
  EventCounter off(*opened.trace, *opened.index, filter);
  EXPECT_FALSE(*off.IsTold());
}

void ExpectCountsOfRanges(const std::vector<Event>& events, const Opened& opened) {
  const ActivityReader reader(*opened.trace, *opened.index);
  const uint64_t columns = reader.ColumnCount();
  std::mt19937 random(10);
  for (int round = 0; round < 40; ++round) {
    uint64_t first = random() % (events.size() + 1);
    uint64_t last = random() % (events.size() + 1);
    if (first > last) {
      std::swap(first, last);
    }
    const Activity kind = round % 2 == 0 ? SENDS : RECEIVES;
    std::vector<uint64_t> expected(columns * reader.RowCount());
    for (uint64_t i = first; i < last; ++i) {
      const Place place = kind == SENDS ? events[i].at : events[i].to;
      if (events[i].type == SEND_RECORD && place.column < columns &&
          place.row < reader.RowCount()) {
        ++expected[place.row * columns + place.column];
      }
    }
    std::vector<uint64_t> counts;
    ASSERT_TRUE(IsFine(reader.Count(first, last, kind, counts)));
    EXPECT_TRUE(counts == expected) << first << " to " << last << ", kind " << kind;
  }
}

TEST(FarEndsTest, ActivityOfTheArrayIsWhatItsRecordsAre) {
  const std::vector<Event> events = EventsWithFarEnds();
  ExpectCountsOfRanges(events, Opened(Encode(events)));
}

TEST(FarEndsTest, ActivityAheadOfTheArrayIsWhatItsRecordsAre) {
  const std::vector<Event> events = EventsAheadOfTheArray();
  ExpectCountsOfRanges(events, Opened(Encode(events)));
}

// All segments with such ends are read, which takes long in a long trace.
TEST(FarEndsTest, CountingActivityAheadOfTheArrayTellsItsProgressAndStops) {
  const std::vector<Event> events = EventsAheadOfTheArray();
  const Opened opened(Encode(events));
  const ActivityReader reader(*opened.trace, *opened.index);
  const size_t boundaries = opened.index->Boundaries().size();
  const std::vector<std::function<Fault(std::vector<uint64_t>&, const ProgressCallback&)>> asked = {
      [&](auto& counts, auto& p) { return reader.Count(0, events.size(), RECEIVES, counts, p); },
      [&](auto& counts, auto& p) { return reader.CountBetween(0, boundaries, SENDS, counts, p); },
      [&](auto& counts, auto& p) {
        return reader.CountCycles(0, events.back().cycle, RECEIVES, counts, p);
      }};
  for (size_t question = 0; question < asked.size(); ++question) {
    SCOPED_TRACE(question);
    std::vector<uint64_t> counts;
    std::vector<uint64_t> told;
    const auto tell = [&](const Progress& now) {
      EXPECT_EQ(Progress::RECORDS, now.unit);
      EXPECT_EQ(events.size(), now.all);
      told.push_back(now.done);
      return true;
    };
    ASSERT_TRUE(IsFine(asked[question](counts, tell)));
    ASSERT_GT(told.size(), 10U);
    EXPECT_LT(told.front(), events.size() / 2);
    EXPECT_GT(told.back(), 100000U) << "such ends are in the first 110000 records";
    EXPECT_LE(*std::max_element(told.begin(), told.end()), events.size());
    size_t asks = 0;
    const auto stop = [&](const Progress& /*now*/) { return ++asks < 5; };
    EXPECT_EQ(Fault::CANCELLED, asked[question](counts, stop).kind);
    EXPECT_EQ(5U, asks);
  }
}

// Nothing is read between boundaries but what lies beside them.
TEST(FarEndsTest, CountingFiresAndTransmissionsStopsToo) {
  const std::vector<Event> events = EventsAheadOfTheArray();
  const Opened opened(Encode(events));
  const ActivityReader reader(*opened.trace, *opened.index);
  const uint64_t boundary = opened.index->Boundaries()[1].record;
  const auto stop = [](const Progress& /*now*/) { return false; };
  for (const Activity activity : {FIRES, TRANSMISSIONS}) {
    for (const auto& [first, last] : std::vector<std::pair<uint64_t, uint64_t>>{
             {boundary - 9, events.size()}, {boundary + 9, events.size()}, {0, boundary + 9}}) {
      std::vector<uint64_t> counts;
      EXPECT_EQ(Fault::CANCELLED, reader.Count(first, last, activity, counts, stop).kind);
    }
  }
}

TEST(FarEndsTest, ActivityOverTimeHasFarEndsToo) {
  const std::vector<Event> events = EventsWithFarEnds();
  const Opened opened(Encode(events));
  for (const Region& region : RegionsToAsk()) {
    for (const Activity kind : {SENDS, RECEIVES}) {
      uint64_t expected = 0;
      for (const Event& event : events) {
        expected += event.type == SEND_RECORD && region.Has(kind == SENDS ? event.at : event.to);
      }
      std::vector<uint64_t> counts;
      ASSERT_TRUE(Take(
          ActivityOverTime(*opened.trace, *opened.index, 0, events.back().cycle, 1, kind, region),
          counts));
      EXPECT_EQ(counts[0], expected) << region.first.column << ", " << region.first.row;
    }
  }
}

TEST(FarEndsTest, TraceOfNothingButFarEndsIsAsked) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < 100000; ++i) {
    Event event;
    event.cycle = i / 3;
    events.push_back(Message(event, {5000 + i % 7, 70}, {9, 8000 + i % 5}));
  }
  const Opened opened(Encode(events));
  EXPECT_EQ(opened.index->GetSummary().far.count, 200000U);
  EXPECT_EQ(opened.index->GetSummary().array, Extent());
  ExpectEventsOfRegions(events, opened);
}

}  // namespace
}  // namespace marrowfin::testing
