#include "trace/ask/FilterRange.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/trace/support/Filters.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

// Of every beginning of a trace: where a filter is said not to reach behind it, the rest of the
// trace has nothing that the filter lets through.
TEST(FilterRangeTest, WhatAFilterMissesOfABrokenTraceIsNeverDenied) {
  std::mt19937 random(5);
  int denied = 0;
  int admitted = 0;
  for (int round = 0; round < 200; ++round) {
    RandomTraceOptions options;
    options.records = 300;
    options.shape = {2, 1, 4};
    options.falling = round % 5 == 0;
    const std::vector<Event> events = RandomEvents(random, options);
    const size_t kept = random() % events.size();
    const std::vector<Event> beginning(events.begin(),
                                       events.begin() + static_cast<ptrdiff_t>(kept));
    const Opened opened(Encode(beginning));
    const EventFilter filter = RandomFilter(random, events, 8);
    bool reaches = false;
    ASSERT_TRUE(Take(ReachesBehindEnd(*opened.trace, *opened.index, filter), reaches));
    if (reaches) {
      ++admitted;
    } else {
      ++denied;
      EXPECT_EQ(Expected(beginning, filter), Expected(events, filter)) << "round " << round;
    }
  }
  EXPECT_LT(20, denied);
  EXPECT_LT(20, admitted);
}

TEST(FilterRangeTest, RangesThatEndBeforeTheLastRecordDoNotReachBehindIt) {
  const Opened opened(Encode({{FIRE_RECORD, 5, 1, {0, 0}, {}}, {FIRE_RECORD, 6, 1, {1, 0}, {}}}));
  const auto reaches = [&](const EventFilter& filter) {
    bool told = false;
    EXPECT_TRUE(Take(ReachesBehindEnd(*opened.trace, *opened.index, filter), told));
    return told;
  };
  EventFilter filter;
  EXPECT_TRUE(reaches(filter));
  filter.lastRecord = 3;
  EXPECT_TRUE(reaches(filter));
  filter.lastRecord = 2;
  EXPECT_FALSE(reaches(filter));
  filter = {};
  filter.lastCycle = 6;
  EXPECT_TRUE(reaches(filter));
  filter.lastCycle = 5;
  EXPECT_FALSE(reaches(filter));
  filter = {};
  filter.firstCycle = 100;
  EXPECT_TRUE(reaches(filter));
  // A thread that no record has may have been that of what is lost.
  filter = {};
  filter.thread = 7;
  EXPECT_TRUE(reaches(filter));
}

}  // namespace
}  // namespace marrowfin::testing
