#include "measure/LeastTimes.h"

#include <gtest/gtest.h>

namespace marrowfin::testing {
namespace {

// A row of elements whose ways are their distances.
constexpr uint32_t LONGEST = Ways::MOST - 2;  // that is told from those beyond
constexpr ArrayShape ROW({1, 1}, {1, 1}, {LONGEST + 1, 1});

TEST(LeastTimesTest, WhatALongerWayTookHoldsForAllShorterOnesThatTookMore) {
  LeastTimes times{Ways(ROW)};
  const auto take = [&](uint32_t column, uint64_t time) {
    times.Take(times.ClassOf(SEND_RECORD, 0, {0, 0}, {column, 0}), time);
  };
  take(LONGEST, 7);
  take(3, 9);
  take(2, 4);
  take(LONGEST + 1, 1);  // outside the array, which says nothing of ways within
  times.Settle();
  EXPECT_EQ(times.OfWay(LONGEST), 7U);
  EXPECT_EQ(times.OfWay(LONGEST - 1), 7U);
  EXPECT_EQ(times.OfWay(3), 7U);
  EXPECT_EQ(times.OfWay(2), 4U);
  EXPECT_EQ(times.OfWay(0), 4U);
  EXPECT_EQ(times.OfWay(Ways::MOST - 1), 1U);
}

}  // namespace
}  // namespace marrowfin::testing
