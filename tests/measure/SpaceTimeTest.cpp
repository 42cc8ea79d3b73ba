#include "measure/SpaceTime.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include "measure/CountSpaceTime.h"
#include "measure/CyclesAsked.h"
#include "tests/trace/support/Filters.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

RandomTraceOptions Options(size_t records) {
  RandomTraceOptions options;
  options.records = records;
  options.shape = {2, 2, 2};
  return options;
}

// Where an event counts, as far as it does.
std::vector<Place> PlacesOf(const Event& event, SpaceTimeEvents events) {
  switch (events) {
    case SpaceTimeEvents::FIRES:
      return event.type == FIRE_RECORD ? std::vector{event.at} : std::vector<Place>();
    case SpaceTimeEvents::SENDS:
      return event.type == SEND_RECORD ? std::vector{event.at} : std::vector<Place>();
    case SpaceTimeEvents::RECEIVES:
      break;
  }
  return event.type == SEND_RECORD ? std::vector{event.to} : std::vector<Place>();
}

// Row, column and slot, by looking at all events that a filter lets through.
typedef std::map<std::tuple<size_t, size_t, size_t>, uint64_t> Counted;

Counted Looked(const SpaceTime& map, const std::vector<Event>& events) {
  const TimeColumns& columns = map.Times();
  Counted counted;
  for (const Event& event : events) {
    for (const Place at : PlacesOf(event, map.Events())) {
      if (!map.Rows().Shape().HasElement(at) || event.cycle < columns.first ||
          event.cycle > columns.last) {
        continue;
      }
      const auto& threads = map.Threads();
      const auto found = std::find(threads.begin(), threads.end(), event.thread);
      ++counted[{map.Rows().RowOf(at), (event.cycle - columns.first) / columns.width,
                 threads.empty() ? 0 : found - threads.begin()}];
    }
  }
  return counted;
}

void ExpectCounts(const SpaceTime& map, const std::vector<Event>& events) {
  Counted expected = Looked(map, events);
  const size_t slots = map.Threads().empty() ? 1 : map.Threads().size() + 1;
  uint64_t total = 0;
  for (size_t row = 0; row < map.Rows().Count(); ++row) {
    uint64_t ofRow = 0;
    for (size_t column = 0; column < map.Times().Count(); ++column) {
      uint64_t cell = 0;
      for (size_t slot = 0; slot < slots; ++slot) {
        const uint64_t count = expected[{row, column, slot}];
        ASSERT_EQ(map.At(row, column, slot), count) << row << " " << column << " " << slot;
        cell += count;
      }
      ASSERT_EQ(map.At(row, column), cell);
      ofRow += cell;
    }
    EXPECT_EQ(map.OfRows()[row], ofRow);
    total += ofRow;
  }
  EXPECT_EQ(map.Total(), total);
  std::set<size_t> active;
  for (const Event& event : events) {
    for (const Place at : PlacesOf(event, map.Events())) {
      if (map.Rows().Shape().HasElement(at)) {
        active.insert(map.Rows().Shape().ElementNumber(at));
      }
    }
  }
  EXPECT_EQ(map.ActiveElements(), active.size());
}

std::vector<Event> Chosen(const std::vector<Event>& events, const EventFilter& filter) {
  std::vector<Event> chosen;
  for (const uint64_t record : Expected(events, filter)) {
    chosen.push_back(events[record]);
  }
  return chosen;
}

TEST(CountSpaceTimeTest, CountsAreThoseOfLookingAtEveryEvent) {
  std::mt19937 random(1);
  for (const size_t records : {size_t{1}, size_t{2}, size_t{300}, size_t{20000}}) {
    for (const bool falling : {false, true}) {
      RandomTraceOptions options = Options(records);
      options.falling = falling;
      const std::vector<Event> events = RandomEvents(random, options);
      const Opened opened(Encode(events));
      // The second array has not all of the places.
      for (const ArrayShape shape : {ArrayShape(2, 2, 2), ArrayShape({1, 2}, {2, 1}, {2, 3})}) {
        for (const SpaceTimeEvents what :
             {SpaceTimeEvents::FIRES, SpaceTimeEvents::SENDS, SpaceTimeEvents::RECEIVES}) {
          for (const bool byThread : {false, true}) {
            SpaceTimeQuestion question;
            question.shape = shape;
            question.events = what;
            question.byThread = byThread;
            question.mostRows = 1 + random() % 70;
            question.mostColumns = 1 + random() % 100;
            const Result<SpaceTime> map = CountSpaceTime(*opened.trace, *opened.index, question);
            ASSERT_TRUE(map) << map.Why().Text();
            EXPECT_LE(map->Rows().Count(), question.mostRows);
            EXPECT_LE(map->Times().Count(), question.mostColumns);
            ExpectCounts(*map, events);
          }
        }
      }
    }
  }
}

TEST(CountSpaceTimeTest, AFilterCountsWhatItLetsThrough) {
  std::mt19937 random(2);
  const std::vector<Event> events = RandomEvents(random, Options(4000));
  const Opened opened(Encode(events));
  int some = 0;
  for (int round = 0; round < 120; ++round) {
    SpaceTimeQuestion question;
    question.shape = {2, 2, 2};
    question.filter = RandomFilter(random, events, 8);
    question.byThread = round % 2 == 0;
    question.mostColumns = 50;
    const Result<SpaceTime> map = CountSpaceTime(*opened.trace, *opened.index, question);
    ASSERT_TRUE(map) << map.Why().Text();
    ExpectCounts(*map, Chosen(events, question.filter));
    some += map->Total() > 0 ? 1 : 0;
  }
  EXPECT_GT(some, 20);
}

TEST(CountSpaceTimeTest, OfManyThreadsThoseWithMostEventsAreToldApart) {
  std::vector<Event> events;
  for (uint32_t i = 0; i < 3000; ++i) {
    // Thread t fires about t times as often as thread 1; those of switches do not count.
    const uint32_t thread = static_cast<uint32_t>(std::sqrt(i / 3.0));
    events.push_back({FIRE_RECORD, i, thread, {i % 8, 0}, {}});
    events.push_back({SWITCH_RECORD, i, 500, {4, 4}, {}});
  }
  const Opened opened(Encode(events));
  SpaceTimeQuestion question;
  question.shape = {2, 2, 2};
  question.byThread = true;
  question.mostThreads = 5;
  question.mostColumns = 50;
  Result<SpaceTime> map = CountSpaceTime(*opened.trace, *opened.index, question);
  ASSERT_TRUE(map) << map.Why().Text();
  EXPECT_EQ(map->Threads(), (std::vector<uint32_t>{27, 28, 29, 30}));
  ExpectCounts(*map, events);
  // Where the range has few enough, all of them are.
  question.filter.lastCycle = 60;
  map = CountSpaceTime(*opened.trace, *opened.index, question);
  ASSERT_TRUE(map) << map.Why().Text();
  EXPECT_EQ(map->Threads(), (std::vector<uint32_t>{0, 1, 2, 3, 4}));
}

TEST(CountSpaceTimeTest, UnlessAskedForThereAreNoMoreThanFiveHundredColumns) {
  for (const uint64_t cycles : {uint64_t{500}, uint64_t{501}}) {
    const Opened opened(
        Encode({{FIRE_RECORD, 0, 0, {0, 0}, {}}, {FIRE_RECORD, cycles - 1, 0, {0, 0}, {}}}));
    SpaceTimeQuestion question;
    question.shape = {2, 2, 2};
    const Result<SpaceTime> map = CountSpaceTime(*opened.trace, *opened.index, question);
    ASSERT_TRUE(map) << map.Why().Text();
    EXPECT_EQ(map->Times().Count(), cycles == 500 ? 500U : 251U);
  }
}

TEST(CountSpaceTimeTest, TheRangeIsThatOfTheCyclesThatWereAskedFor) {
  std::vector<Event> events;
  for (uint64_t cycle = 10; cycle < 100; ++cycle) {
    events.push_back({FIRE_RECORD, cycle, 0, {0, 0}, {}});
  }
  const Opened opened(Encode(events));
  const auto asked = [&](const EventFilter& filter) {
    const Result<CycleRange> range = CyclesAsked(*opened.trace, *opened.index, filter);
    EXPECT_TRUE(range) << range.Why().Text();
    return std::make_pair(range->first, range->last);
  };
  EventFilter filter;
  EXPECT_EQ(asked(filter), std::make_pair(uint64_t{10}, uint64_t{99}));
  filter.firstCycle = 0;
  filter.lastCycle = 50;
  EXPECT_EQ(asked(filter), std::make_pair(uint64_t{10}, uint64_t{50}));
  filter.firstRecord = 5;
  filter.lastRecord = 8;
  EXPECT_EQ(asked(filter), std::make_pair(uint64_t{15}, uint64_t{17}));
  filter.thread = 7;
  EXPECT_EQ(asked(filter), std::make_pair(uint64_t{10}, uint64_t{50})) << "no event is there";
}

TEST(CountSpaceTimeTest, WhereCyclesFallNoneIsOutsideTheRange) {
  std::vector<Event> events;
  for (const uint64_t first : {100, 10}) {
    for (uint64_t cycle = first; cycle < first + 50; ++cycle) {
      events.push_back({FIRE_RECORD, cycle, 0, {0, 0}, {}});
    }
  }
  const Opened opened(Encode(events));
  SpaceTimeQuestion question;
  question.mostColumns = 50;
  Result<SpaceTime> map = CountSpaceTime(*opened.trace, *opened.index, question);
  ASSERT_TRUE(map);
  EXPECT_EQ(map->Total(), events.size());
  EXPECT_EQ(map->Times().first, 10U);
  EXPECT_EQ(map->Times().last, 149U);
  // What lies within what was asked for widens nothing.
  question.filter.firstCycle = 105;
  question.filter.lastCycle = 120;
  map = CountSpaceTime(*opened.trace, *opened.index, question);
  ASSERT_TRUE(map);
  EXPECT_EQ(map->Total(), 16U);
  EXPECT_EQ(map->Times().first, 105U);
}

TEST(CountSpaceTimeTest, AFilterThatEndsWhereTheTraceDoesAsksForAllOfIt) {
  const Opened opened(Encode({{FIRE_RECORD, 10, 0, {0, 0}, {}},
                              {FIRE_RECORD, 50, 1, {0, 0}, {}},
                              {FIRE_RECORD, 90, 0, {0, 0}, {}}}));
  EventFilter filter;
  filter.lastRecord = 3;
  filter.thread = 1;
  EXPECT_EQ(*CyclesAsked(*opened.trace, *opened.index, filter), (CycleRange{10, 90}));
  filter.lastRecord = 2;
  EXPECT_EQ(*CyclesAsked(*opened.trace, *opened.index, filter), (CycleRange{50, 50}));
}

TEST(CountSpaceTimeTest, ATraceWithoutRecordsIsAFaultAndTheLongestOneIsNone) {
  const Opened empty("");
  SpaceTimeQuestion question;
  question.mostColumns = 50;
  EXPECT_EQ(CountSpaceTime(*empty.trace, *empty.index, question).Why().kind, Fault::OUT_OF_RANGE);
  // The cycles of a trace may be as far apart as numbers allow.
  const std::vector<Event> events = {{FIRE_RECORD, 0, 0, {0, 0}, {}},
                                     {FIRE_RECORD, ~uint64_t{0}, 0, {1, 0}, {}}};
  const Opened opened(Encode(events));
  const Result<SpaceTime> map = CountSpaceTime(*opened.trace, *opened.index, question);
  ASSERT_TRUE(map);
  ExpectCounts(*map, events);
  EXPECT_EQ(map->Total(), 2U);
}

TEST(CountSpaceTimeTest, ProgressIsToldUpToTheEndAndStops) {
  std::mt19937 random(5);
  const Opened opened(Encode(RandomEvents(random, Options(200000))));
  SpaceTimeQuestion question;
  question.shape = {2, 2, 2};
  uint64_t done = 0;
  const auto watch = [&](const Progress& now) {
    EXPECT_GE(now.done, done);
    EXPECT_EQ(now.all, 200000U);
    done = now.done;
    return true;
  };
  ASSERT_TRUE(CountSpaceTime(*opened.trace, *opened.index, question, watch));
  EXPECT_EQ(done, 200000U);
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(CountSpaceTime(*opened.trace, *opened.index, question, stop).Why().kind,
            Fault::CANCELLED);
}

TEST(CountSpaceTimeTest, ATraceThatWasReplacedIsAFault) {
  std::mt19937 random(6);
  Opened opened(Encode(RandomEvents(random, Options(50000))));
  std::filesystem::resize_file(opened.name, 1000);
  SpaceTimeQuestion question;
  question.shape = {2, 2, 2};
  EXPECT_EQ(CountSpaceTime(*opened.trace, *opened.index, question).Why().kind, Fault::CHANGED);
}

TEST(TimeColumnsTest, RoundColumnsAreTheNarrowestOfOneTwoAndFiveThatDo) {
  EXPECT_EQ(TimeColumns::Round(1, 2839, 546).width, 10U);
  EXPECT_EQ(TimeColumns::Round(0, 545, 546).width, 1U);
  EXPECT_EQ(TimeColumns::Round(0, 546, 546).width, 2U);
  EXPECT_EQ(TimeColumns::Round(0, 2000, 500).width, 5U);
  EXPECT_EQ(TimeColumns::Round(7, 7, 1).width, 1U);
  std::mt19937_64 random(1);
  for (int round = 0; round < 200; ++round) {
    const uint64_t first = random() >> random() % 64;
    const uint64_t last = first + std::min(random() >> random() % 64, ~uint64_t{0} - first);
    const TimeColumns columns = TimeColumns::Round(first, last, 400);
    EXPECT_LE(columns.Count(), 400U);
    EXPECT_GT(columns.Count() * 5, std::min<uint64_t>(last - first, 400));
  }
}

}  // namespace
}  // namespace marrowfin::testing
