// Fires by place and thread

#include "measure/CountThreads.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;

ThreadMap Count(const std::vector<Event>& events, const ThreadQuestion& question) {
  const Opened opened(Encode(events));
  const Result<ThreadMap> map = CountThreads(*opened.trace, *opened.index, question);
  EXPECT_TRUE(map) << map.Why().Text();
  return *map;
}

Event Fire(uint64_t cycle, uint32_t thread, Place at) {
  return {FIRE_RECORD, cycle, thread, at, {}};
}

// Many fires of several threads, and other records that are none.
std::vector<Event> ManyEvents() {
  std::vector<Event> events;
  for (uint32_t i = 0; i < 30000; ++i) {
    const uint32_t mixed = i * 2654435761U;
    const Place at = {mixed >> 29, (mixed >> 26) % 8};
    events.push_back(Fire(i / 7, 100 + (mixed >> 8) % (at.row + 1), at));
    if (i % 5 == 0) {
      events.push_back({SEND_RECORD, i / 7, 4, at, {0, 0}});
    }
  }
  return events;
}

TEST(CountThreadsTest, EveryPlaceHasTheThreadThatAnyoneCounts) {
  const std::vector<Event> events = ManyEvents();
  ThreadQuestion question;
  question.shape = ArrayShape({2, 2}, {2, 2}, {2, 2});
  for (const Level level : {Level::PE, Level::DOMAIN, Level::CLUSTER}) {
    question.level = level;
    std::map<size_t, std::map<uint32_t, uint64_t>> expected;
    std::map<uint32_t, uint64_t> all;
    const uint32_t columns = UnitsOf(question.shape, level).columns;
    for (const Event& event : events) {
      if (event.type == FIRE_RECORD) {
        const Place unit = UnitOf(question.shape, level, event.at);
        ++expected[size_t{unit.row} * columns + unit.column][event.thread];
        ++all[event.thread];
      }
    }
    const ThreadMap map = Count(events, question);
    ASSERT_EQ(map.places.size(), size_t{columns} * UnitsOf(question.shape, level).rows);
    for (size_t i = 0; i < map.places.size(); ++i) {
      uint64_t sum = 0;
      uint64_t most = 0;
      uint32_t thread = 0;
      for (const auto& [each, fires] : expected[i]) {
        sum += fires;
        thread = fires > most ? each : thread;
        most = std::max(most, fires);
      }
      EXPECT_EQ(map.places[i].fires, sum) << i;
      EXPECT_EQ(map.places[i].most, most) << i;
      EXPECT_EQ(map.threads[map.places[i].slot], thread) << i;
    }
    for (size_t slot = 0; slot < map.threads.size(); ++slot) {
      EXPECT_EQ(map.fires[slot], all[map.threads[slot]]);
    }
  }
}

TEST(CountThreadsTest, NineOfTenMakeAPlaceAThreadsOwn) {
  ThreadQuestion question;
  question.shape = ArrayShape({1, 1}, {1, 1}, {2, 1});
  std::vector<Event> events;
  for (uint32_t i = 0; i < 10; ++i) {
    events.push_back(Fire(i, i == 0 ? 1 : 0, {0, 0}));
    events.push_back(Fire(i, i <= 1 ? 1 : 0, {1, 0}));
  }
  const ThreadMap map = Count(events, question);
  EXPECT_TRUE(map.IsOwn(map.places[0]));
  EXPECT_FALSE(map.IsOwn(map.places[1]));
  EXPECT_FALSE(map.IsOwn(PlaceThread{}));
  EXPECT_TRUE((PlaceThread{~uint64_t{0}, 0, ~uint64_t{0} - 9}).IsOwn()) << "no sum overflows";
}

TEST(CountThreadsTest, ThreadsWithMostFiresAreToldApartAndOthersOwnNothing) {
  ThreadQuestion question;
  question.shape = ArrayShape({1, 1}, {1, 1}, {4, 4});
  question.mostThreads = 14;
  question.mostCounts = 1;
  std::vector<Event> events;
  for (uint32_t thread = 0; thread < 16; ++thread) {
    for (uint32_t i = 0; i < 1 + thread; ++i) {
      events.push_back(Fire(events.size(), thread, {thread % 4, thread / 4}));
    }
  }
  const ThreadMap map = Count(events, question);
  EXPECT_THAT(map.threads, ElementsAre(4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
  EXPECT_EQ(map.fires.back(), 1U + 2 + 3 + 4);
  EXPECT_EQ(map.places[2].slot, map.threads.size());
  EXPECT_FALSE(map.IsOwn(map.places[2]));
  EXPECT_TRUE(map.IsOwn(map.places[4]));
}

TEST(CountThreadsTest, AFilterLeavesOutWhatItDoesNotLetThrough) {
  ThreadQuestion question;
  question.shape = ArrayShape({1, 1}, {1, 1}, {2, 1});
  question.filter.thread = 1;
  const ThreadMap map = Count({Fire(1, 0, {0, 0}), Fire(2, 1, {1, 0})}, question);
  EXPECT_EQ(map.places[0].fires, 0U);
  EXPECT_EQ(map.places[1].fires, 1U);
  question.filter.thread = 9;
  EXPECT_EQ(Count({Fire(1, 0, {0, 0})}, question).places[0].fires, 0U);
}

}  // namespace
}  // namespace marrowfin::testing
