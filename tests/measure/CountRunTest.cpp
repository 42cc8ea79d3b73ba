#include "measure/CountRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include "tests/trace/support/Filters.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/ActivityOverTime.h"

namespace marrowfin::testing {
namespace {

using ::testing::Each;

RunQuestion Everything(const ArrayShape& shape) {
  RunQuestion question;
  question.shape = shape;
  return question;
}

// What one element did, by looking at all events.
ElementCounts Looked(const std::vector<Event>& events, Place place) {
  ElementCounts counts;
  std::set<uint64_t> cycles;
  for (const Event& event : events) {
    if (event.type == FIRE_RECORD && event.at == place) {
      counts.first = counts.fires == 0 ? event.cycle : counts.first;
      if (counts.fires > 0 && event.cycle > counts.last && event.cycle - counts.last > counts.gap) {
        counts.gap = event.cycle - counts.last;
        counts.gapEnd = event.cycle;
      }
      counts.last = event.cycle;
      ++counts.fires;
      cycles.insert(event.cycle);
    }
    counts.sends += event.type == SEND_RECORD && event.at == place ? 1 : 0;
    counts.receives += event.type == SEND_RECORD && event.to == place ? 1 : 0;
  }
  counts.active = cycles.size();
  return counts;
}

void ExpectCounts(const RunCounts& counts, const std::vector<Event>& events) {
  const ArrayShape& shape = counts.Places().Shape();
  for (size_t i = 0; i < shape.Elements(); ++i) {
    const ElementCounts expected = Looked(events, shape.ElementAt(i));
    ASSERT_EQ(counts.Places().Elements()[i], expected) << i;
  }
  std::vector<uint64_t> transmissions(shape.Switches());
  std::map<uint64_t, uint64_t> distances;
  std::map<std::pair<uint32_t, uint64_t>, uint64_t> times;
  std::vector<uint64_t> traffic(shape.Switches() * shape.Switches());
  uint64_t outside = 0;
  for (const Event& event : events) {
    ++times[{event.type, event.cycle}];
    if (event.type == SWITCH_RECORD) {
      const bool is = shape.HasSwitch(event.at);
      outside += is ? 0 : 1;
      transmissions[is ? shape.SwitchNumber(event.at) : 0] += is ? 1 : 0;
    } else if (event.type == FIRE_RECORD) {
      outside += shape.HasElement(event.at) ? 0 : 1;
    } else {
      outside += (shape.HasElement(event.at) ? 0 : 1) + (shape.HasElement(event.to) ? 0 : 1);
      if (shape.HasElement(event.at) && shape.HasElement(event.to)) {
        const int64_t columns = int64_t{event.at.column} - event.to.column;
        const int64_t rows = int64_t{event.at.row} - event.to.row;
        ++distances[static_cast<uint64_t>(std::abs(columns) + std::abs(rows))];
        const Place from = shape.ClusterOf(event.at);
        const Place to = shape.ClusterOf(event.to);
        ++traffic[(from.row * shape.clusters.columns + from.column) * shape.Switches() +
                  to.row * shape.clusters.columns + to.column];
      }
    }
  }
  EXPECT_EQ(counts.Places().Outside(), outside);
  EXPECT_EQ(counts.Places().Transmissions(), transmissions);
  EXPECT_EQ(counts.Traffic(), traffic);
  for (size_t distance = 0; distance < counts.Distances().size(); ++distance) {
    EXPECT_EQ(counts.Distances()[distance], distances[distance]) << distance;
  }
  const TimeColumns& columns = counts.Times().Columns();
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    for (size_t column = 0; column < columns.Count(); ++column) {
      uint64_t expected = 0;
      for (uint64_t i = 0; i < columns.WidthOf(column); ++i) {
        expected += times[{type, columns.FirstOf(column) + i}];
      }
      ASSERT_EQ(counts.Times().OfType(type)[column], expected) << type << " " << column;
    }
  }
}

RandomTraceOptions Options(size_t records) {
  RandomTraceOptions options;
  options.records = records;
  options.shape = {2, 2, 2};
  return options;
}

TEST(CountRunTest, CountsAreThoseOfLookingAtEveryEvent) {
  std::mt19937 random(1);
  for (const size_t records : {size_t{1}, size_t{2}, size_t{300}, size_t{20000}}) {
    const std::vector<Event> events = RandomEvents(random, Options(records));
    const Opened opened(Encode(events));
    for (const ArrayShape shape : {ArrayShape(2, 2, 2), ArrayShape({1, 2}, {2, 1}, {2, 3})}) {
      const Result<RunCounts> counts = CountRun(*opened.trace, nullptr, Everything(shape));
      ASSERT_TRUE(counts) << counts.Why().Text();
      ExpectCounts(*counts, events);
    }
  }
}

TEST(CountRunTest, CyclesThatFallAreAllInTheTimeline) {
  std::mt19937 random(2);
  RandomTraceOptions options = Options(5000);
  options.falling = true;
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  const Result<RunCounts> counts = CountRun(*opened.trace, nullptr, Everything(options.shape));
  ASSERT_TRUE(counts) << counts.Why().Text();
  uint64_t all = 0;
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    for (const uint64_t count : counts->Times().OfType(type)) {
      all += count;
    }
  }
  EXPECT_EQ(all, events.size());
}

std::vector<Event> Chosen(const std::vector<Event>& events, const EventFilter& filter) {
  std::vector<Event> chosen;
  for (const uint64_t record : Expected(events, filter)) {
    chosen.push_back(events[record]);
  }
  return chosen;
}

TEST(CountRunTest, AFilterCountsWhatItLetsThroughWithAndWithoutAnIndex) {
  std::mt19937 random(3);
  const RandomTraceOptions options = Options(4000);
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  int some = 0;
  for (int round = 0; round < 60; ++round) {
    RunQuestion question = Everything(options.shape);
    question.filter = RandomFilter(random, events, 8);
    const std::vector<Event> chosen = Chosen(events, question.filter);
    const Result<RunCounts> counts = CountRun(*opened.trace, opened.index.get(), question);
    ASSERT_TRUE(counts) << counts.Why().Text();
    EXPECT_EQ(counts->Records(), chosen.size());
    if (chosen.empty()) {
      EXPECT_TRUE(counts->IsEmpty());
      continue;
    }
    ++some;
    ExpectCounts(*counts, chosen);
    EventFilter& filter = question.filter;
    filter.firstRecord = filter.firstStep = filter.skipTo = 0;
    filter.lastRecord = filter.lastStep = ~uint64_t{0};
    filter.without.clear();
    const Result<RunCounts> read = CountRun(*opened.trace, nullptr, question);
    ASSERT_TRUE(read) << read.Why().Text();
    ExpectCounts(*read, Chosen(events, filter));
  }
  EXPECT_GT(some, 20);
}

// What an index tells by its sums of a range, against counting it.
void ExpectSums(const Opened& opened, RunQuestion question) {
  const Result<RunCounts> counted = CountRun(*opened.trace, opened.index.get(), question);
  question.sumsSuffice = true;
  const Result<RunCounts> told = CountRun(*opened.trace, opened.index.get(), question);
  ASSERT_TRUE(counted) << counted.Why().Text();
  ASSERT_TRUE(told) << told.Why().Text();
  EXPECT_EQ(told->Records(), counted->Records());
  EXPECT_EQ(told->Places().Outside(), counted->Places().Outside());
  EXPECT_EQ(told->Places().Transmissions(), counted->Places().Transmissions());
  for (size_t i = 0; i < question.shape.Elements(); ++i) {
    const ElementCounts& a = told->Places().Elements()[i];
    const ElementCounts& b = counted->Places().Elements()[i];
    ASSERT_EQ(std::tie(a.fires, a.sends, a.receives), std::tie(b.fires, b.sends, b.receives)) << i;
  }
  const auto sum = [](const std::vector<uint64_t>& counts) {
    return std::accumulate(counts.begin(), counts.end(), uint64_t{0});
  };
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    EXPECT_EQ(sum(told->Times().OfType(type)), sum(counted->Times().OfType(type))) << type;
  }
  EXPECT_EQ(told->Times().Columns().first, counted->Times().Columns().first);
  EXPECT_EQ(told->Times().Columns().last, counted->Times().Columns().last);
}

TEST(CountRunTest, SumsThatAnIndexTellsAreThoseOfCounting) {
  std::mt19937 random(8);
  const RandomTraceOptions options = Options(30000);
  const std::vector<Event> events = RandomEvents(random, options);
  const Opened opened(Encode(events));
  const uint64_t last = events.back().cycle;
  for (int round = 0; round < 30; ++round) {
    RunQuestion question = Everything(round % 2 == 0 ? ArrayShape(2, 2, 2) : ArrayShape(2, 1, 2));
    if (round > 1) {
      question.filter.firstCycle = random() % (last + 1);
      question.filter.lastCycle = question.filter.firstCycle + random() % (last + 1);
    }
    ExpectSums(opened, question);
  }
}

TEST(CountRunTest, SumsThatNoTableTellsAreCounted) {
  std::mt19937 random(9);
  RandomTraceOptions options = Options(3000);
  options.falling = true;
  const Opened falling(Encode(RandomEvents(random, options)));
  ExpectSums(falling, Everything({2, 2, 2}));
  const Opened opened(Encode(RandomEvents(random, Options(3000))));
  for (int condition = 0; condition < 4; ++condition) {
    RunQuestion question = Everything({2, 2, 2});
    EventFilter& filter = question.filter;
    filter.sends = condition != 0;
    filter.thread = condition == 1 ? std::optional<uint32_t>(1) : std::nullopt;
    filter.lastRecord = condition == 2 ? 1000 : filter.lastRecord;
    if (condition == 3) {
      filter.region = Region{{0, 0}, {1, 3}};
    }
    ExpectSums(opened, question);
  }
}

// Adds up, at most, the records that are read: whoever reads a batch tells so.
ProgressCallback ReadRecords(uint64_t& records) {
  return [&records](const Progress&) {
    records += Columns::CAPACITY;
    return true;
  };
}

TEST(CountRunTest, SumsOfTablesAreToldWithoutGoingThroughTheTrace) {
  std::mt19937 random(10);
  const Opened opened(Encode(RandomEvents(random, ManyKeyframes())));
  RunQuestion question = Everything({2, 2, 4});
  question.sumsSuffice = true;
  const auto read = [&] {
    uint64_t records = 0;
    EXPECT_TRUE(CountRun(*opened.trace, opened.index.get(), question, ReadRecords(records)));
    return records;
  };
  EXPECT_LT(read(), 20000U);
  question.filter.sends = false;
  EXPECT_GT(read(), 199999U);
}

// The fires of each thread in each column, others last.
std::map<uint32_t, std::vector<uint64_t>> FiresByThread(const Timeline& times) {
  std::map<uint32_t, std::vector<uint64_t>> fires;
  for (const uint32_t thread : times.Threads()) {
    fires[thread] = times.OfThread(thread);
  }
  fires[~uint32_t{0}] = times.OfOthers();
  return fires;
}

// The records that were read to tell the timeline.
uint64_t ExpectTimeline(const Opened& opened, RunQuestion question) {
  const Result<RunCounts> counted = CountRun(*opened.trace, nullptr, question);
  question.timelineSuffices = true;
  uint64_t read = 0;
  const Result<RunCounts> told =
      CountRun(*opened.trace, opened.index.get(), question, ReadRecords(read));
  EXPECT_TRUE(counted);
  EXPECT_TRUE(told);
  EXPECT_EQ(told->Times().Columns().width, counted->Times().Columns().width);
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    EXPECT_EQ(told->Times().OfType(type), counted->Times().OfType(type));
  }
  if (question.timelineByThread) {
    EXPECT_EQ(FiresByThread(told->Times()), FiresByThread(counted->Times()));
  }
  EXPECT_EQ(told->Records(), counted->Records());
  EXPECT_EQ(told->Places().Outside(), counted->Places().Outside());
  return read;
}

TEST(CountRunTest, TheTimelineThatAnIndexTellsIsThatOfCounting) {
  std::mt19937 random(12);
  const std::vector<Event> events = RandomEvents(random, Options(30000));
  const Opened opened(Encode(events));
  const uint64_t last = events.back().cycle;
  for (int round = 0; round < 20; ++round) {
    RunQuestion question = Everything({2, 2, 2});
    question.mostColumns = 1 + random() % 400;
    if (round > 4) {
      question.filter.firstCycle = random() % (last + 1);
      question.filter.lastCycle = question.filter.firstCycle + random() % (last + 1);
    }
    ExpectTimeline(opened, question);
  }
}

TEST(CountRunTest, ATimelineByMoreThreadsThanAnIndexTellsApartIsCounted) {
  std::vector<Event> events;
  for (uint64_t i = 0; i < 200000; ++i) {
    events.push_back({FIRE_RECORD, i, static_cast<uint32_t>(i % 17), {0, 0}, {}});
  }
  const Opened opened(Encode(events));
  RunQuestion question = Everything({2, 2, 2});
  question.mostColumns = 4;
  EXPECT_GT(ExpectTimeline(opened, question), 199999U);
  question.timelineByThread = false;
  EXPECT_LT(ExpectTimeline(opened, question), 20000U);
}

TEST(CountRunTest, TheBusiestCycleAndTheLongestQuietSpellAreToldAcrossPieces) {
  std::mt19937 random(6);
  for (int round = 0; round < 20; ++round) {
    RandomTraceOptions options = Options(100 + random() % 3000);
    options.perCycle = 1 + random() % 40;
    const std::vector<Event> events = RandomEvents(random, options);
    std::map<uint64_t, uint64_t> fires;
    for (const Event& event : events) {
      if (event.type == FIRE_RECORD) {
        ++fires[event.cycle];
      }
    }
    uint64_t peak = 0;
    uint64_t quiet = 0;
    for (auto at = fires.begin(); at != fires.end(); ++at) {
      peak = std::max(peak, at->second);
      const auto next = std::next(at);
      quiet = next == fires.end() ? quiet : std::max(quiet, next->first - at->first - 1);
    }
    const Opened opened(Encode(events));
    const Result<RunCounts> counts = CountRun(*opened.trace, nullptr, Everything(options.shape));
    ASSERT_TRUE(counts);
    EXPECT_EQ(counts->Pulses().Peak(), peak);
    EXPECT_EQ(fires[counts->Pulses().PeakCycle()], peak);
    EXPECT_EQ(counts->Pulses().Quiet(), quiet);
    if (quiet > 0) {
      EXPECT_EQ(fires.count(counts->Pulses().QuietFirst() - 1), 1U);
      EXPECT_EQ(fires.count(counts->Pulses().QuietFirst() + quiet), 1U);
    }
    EXPECT_EQ(counts->Pulses().BusyCycles(), fires.size());
  }
}

TEST(CountRunTest, OfSpellsAndPeaksThatAreAlikeTheFirstIsTold) {
  std::vector<Event> events;
  for (const uint64_t cycle : {1, 1, 5, 9, 9, 13}) {
    events.push_back({FIRE_RECORD, cycle, 0, {0, 0}, {}});
  }
  const Opened opened(Encode(events));
  const Result<RunCounts> counts = CountRun(*opened.trace, nullptr, Everything({2, 2, 2}));
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->Pulses().Quiet(), 3U);
  EXPECT_EQ(counts->Pulses().QuietFirst(), 2U);
  EXPECT_EQ(counts->Pulses().Peak(), 2U);
  EXPECT_EQ(counts->Pulses().PeakCycle(), 1U);
}

TEST(CountRunTest, OnlyMessagesBetweenNeighboursLeaveNoneThatIsFar) {
  std::vector<Event> events = {{SEND_RECORD, 1, 0, {0, 0}, {1, 0}},
                               {SEND_RECORD, 1, 0, {3, 3}, {3, 3}},
                               {SEND_RECORD, 2, 0, {0, 0}, {0, 7}}};
  RunQuestion question = Everything({2, 2, 2});
  question.wrapRows = true;
  const Opened opened(Encode(events));
  Result<RunCounts> counts = CountRun(*opened.trace, nullptr, question);
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->FarSends(), 0U);
  question.wrapRows = false;
  counts = CountRun(*opened.trace, nullptr, question);
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->FarSends(), 1U);
}

TEST(CountRunTest, MessagesThatLeaveTheirDomainTurnAtTheSwitchOfTheirCluster) {
  const std::vector<Event> events = {{SEND_RECORD, 1, 0, {0, 0}, {1, 1}},   // within a domain
                                     {SEND_RECORD, 1, 0, {0, 0}, {2, 0}},   // within a cluster
                                     {SEND_RECORD, 1, 0, {0, 0}, {7, 7}}};  // to another one
  const Opened opened(Encode(events));
  const Result<RunCounts> counts = CountRun(*opened.trace, nullptr, Everything({2, 2, 2}));
  ASSERT_TRUE(counts);
  EXPECT_THAT(counts->TurnedAtSwitch(), ::testing::ElementsAre(1, 0, 0, 0));
  EXPECT_THAT(counts->ClusterLinks().Get().passes, ::testing::ElementsAre(1, 1, 0, 1));
}

TEST(CountRunTest, AnEmptyTraceAndABrokenOneAreTold) {
  const Opened empty("");
  EXPECT_EQ(CountRun(*empty.trace, nullptr, Everything({1, 1, 1})).Why().kind, Fault::OUT_OF_RANGE);
  std::mt19937 random(4);
  std::string bytes = Encode(RandomEvents(random, Options(5000)));
  bytes.pop_back();
  const Opened cut(bytes);
  EXPECT_EQ(CountRun(*cut.trace, nullptr, Everything({2, 2, 2})).Why().kind, Fault::CUT_RECORD);
}

TEST(CountRunTest, OfABrokenTraceTheCyclesThatWereAskedForAreTheRange) {
  const Opened opened(Encode({{FIRE_RECORD, 10, 0, {0, 0}, {}},
                              {FIRE_RECORD, 50, 1, {0, 0}, {}},
                              {FIRE_RECORD, 90, 0, {0, 0}, {}}}));
  RunQuestion question = Everything({1, 1, 2});
  question.filter.firstCycle = 20;
  question.filter.lastCycle = 80;
  question.filter.lastRecord = opened.index->GetSummary().records;  // as far as it is whole
  const Result<RunCounts> counts = CountRun(*opened.trace, opened.index.get(), question);
  ASSERT_TRUE(counts);
  EXPECT_EQ(counts->Times().Columns().first, 20U);
  EXPECT_EQ(counts->Times().Columns().last, 80U);
}

TEST(CountRunTest, ProgressIsToldAndStops) {
  std::mt19937 random(5);
  const Opened opened(Encode(RandomEvents(random, Options(20000))));
  uint64_t done = 0;
  const auto watch = [&](const Progress& now) {
    done = now.done;
    return true;
  };
  ASSERT_TRUE(CountRun(*opened.trace, nullptr, Everything({2, 2, 2}), watch));
  EXPECT_EQ(done, opened.trace->Size());
  const auto stop = [](const Progress&) { return false; };
  EXPECT_EQ(CountRun(*opened.trace, nullptr, Everything({2, 2, 2}), stop).Why().kind,
            Fault::CANCELLED);
}

// What the tables tell of times is only a part of what is read for them.
TEST(CountRunTest, WhatIsReadAroundTablesIsToldAndStops) {
  std::mt19937 random(6);
  const Opened opened(Encode(RandomEvents(random, ManyKeyframes())));
  const CycleRange range = {opened.index->GetSummary().firstCycle + 700,
                            opened.index->GetSummary().maxCycle - 900};
  size_t ofTimes = 0;
  ASSERT_TRUE(ActivityOverTime(*opened.trace, *opened.index, {range.first, range.last, 1},
                               [&](const Progress&) { return ++ofTimes > 0; }));
  RunQuestion question = Everything(ManyKeyframes().shape);
  question.filter.firstCycle = range.first;
  question.filter.lastCycle = range.last;
  question.sumsSuffice = true;
  double share = 0;
  size_t calls = 0;
  ASSERT_TRUE(CountRun(*opened.trace, opened.index.get(), question, [&](const Progress& now) {
    EXPECT_GE(static_cast<double>(now.done) / static_cast<double>(now.all), share);
    EXPECT_LE(now.done, now.all);
    share = static_cast<double>(now.done) / static_cast<double>(now.all);
    return ++calls > 0;
  }));
  EXPECT_GT(calls, ofTimes);
  for (const size_t last : {size_t{0}, ofTimes, calls - 1}) {
    size_t goneOn = 0;
    const auto stop = [&](const Progress&) { return goneOn++ < last; };
    EXPECT_EQ(CountRun(*opened.trace, opened.index.get(), question, stop).Why().kind,
              Fault::CANCELLED);
  }
}

TEST(TimeColumnsTest, AnyRangeHasAtMostTheColumnsThatAreAskedFor) {
  std::mt19937_64 random(1);
  for (int round = 0; round < 200; ++round) {
    const uint64_t first = random() >> random() % 64;
    const uint64_t length = random() >> random() % 64;
    const uint64_t last = first + std::min(length, ~uint64_t{0} - first);
    const TimeColumns columns = TimeColumns::AtMost(first, last, 400);
    ASSERT_LE(columns.Count(), 400U);
    ASSERT_GE(columns.Count(), 1U);
    EXPECT_EQ(columns.FirstOf(columns.Count() - 1) + (columns.WidthOf(columns.Count() - 1) - 1),
              last);
    EXPECT_GT(columns.Count() * 2, std::min<uint64_t>(last - first, 400));
  }
  EXPECT_EQ(TimeColumns::AtMost(0, ~uint64_t{0}, 400).Count(), 400U);
  EXPECT_EQ(TimeColumns::AtMost(5, 5, 400).Count(), 1U);
}

}  // namespace
}  // namespace marrowfin::testing
