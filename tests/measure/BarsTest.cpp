#include "measure/Bars.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "measure/AttributeValues.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;

ValueCounts Of(const std::vector<uint64_t>& values) {
  ValueCounts counts;
  for (const uint64_t value : values) {
    counts.Add(value);
  }
  return counts;
}

uint64_t Sum(const Bars& bars) {
  return std::accumulate(bars.counts.begin(), bars.counts.end(), bars.above);
}

TEST(BarsTest, FewWholeNumbersHaveABarEachFromZeroOn) {
  const Bars bars = BarsOf(Of({2, 2, 3, 5}), 20);
  EXPECT_TRUE(bars.single);
  EXPECT_EQ(bars.first, 0);
  EXPECT_THAT(bars.counts, ElementsAre(0, 0, 2, 1, 0, 1));
}

TEST(BarsTest, ManyAreInBarsOfOneTwoOrFive) {
  std::vector<uint64_t> values(518);
  std::iota(values.begin(), values.end(), 0);
  const Bars bars = BarsOf(Of(values), 60);
  EXPECT_FALSE(bars.single);
  EXPECT_EQ(bars.width, 10);
  EXPECT_EQ(bars.counts.size(), 52U);
  EXPECT_EQ(bars.counts[0], 10U);
  EXPECT_EQ(bars.counts[51], 8U);
}

TEST(BarsTest, ValuesFarFromZeroBeginWhereTheyAre) {
  const Bars bars = BarsOf(Of({1000003, 1000007}), 20);
  EXPECT_EQ(bars.first, 1000003);
  EXPECT_EQ(bars.counts.size(), 5U);
  EXPECT_EQ(BarsOf(Of({70, 90}), 50).first, 70);
  EXPECT_EQ(BarsOf(Of({40, 90}), 50).first, 0);
}

TEST(BarsTest, ALongTailIsCountedAndNotDrawn) {
  ValueCounts values;
  for (uint64_t value = 0; value < 1000; ++value) {
    values.Add(value % 100);
  }
  values.Add(99999, 3);
  const Bars bars = BarsOf(values, 60);
  EXPECT_EQ(bars.above, 3U);
  EXPECT_LT(bars.End(), 160);
  EXPECT_EQ(Sum(bars), 1003U);
}

TEST(BarsTest, WhatLiesInTheLastBarIsNotAboveIt) {
  ValueCounts values;
  values.Add(100, 1000);
  values.Add(155);  // the bars end at one and a half times 100, the last of them at 160
  values.Add(99999);
  const Bars bars = BarsOf(values, 9);
  EXPECT_EQ(bars.End(), 160);
  EXPECT_EQ(bars.counts.back(), 1U);
  EXPECT_EQ(bars.above, 1U);
}

TEST(BarsTest, NumbersThatAreTooLargeToBeToldApartHaveNoBarsOfTheirOwn) {
  for (const std::vector<uint64_t>& values : {std::vector<uint64_t>{~uint64_t{0}},
                                              {~uint64_t{0}, ~uint64_t{0} - 1},
                                              {~uint64_t{0}, ~uint64_t{0} - 100000},
                                              {uint64_t{1} << 60, (uint64_t{1} << 60) + 1}}) {
    const Bars bars = BarsOf(Of(values), 60);
    EXPECT_FALSE(bars.single);
    EXPECT_EQ(Sum(bars), values.size());
    EXPECT_GT(bars.End(), bars.first);
  }
}

TEST(BarsTest, AnyDistributionIsInAtMostTheBarsThatAreAskedFor) {
  std::mt19937_64 random(1);
  for (int round = 0; round < 500; ++round) {
    ValueCounts values;
    const uint64_t base = random() % 4 == 0 ? random() >> (1 + random() % 62) : 0;
    for (uint64_t count = 1 + random() % 150; count > 0; --count) {
      values.Add(base + (random() >> (1 + random() % 63)));
    }
    const size_t most = 5 + random() % 60;
    const Bars bars = BarsOf(values, most);
    EXPECT_LE(bars.counts.size(), most + 1) << round;
    EXPECT_EQ(Sum(bars), values.Size()) << round;
    EXPECT_GE(bars.width, 1);
  }
}

TEST(BarsTest, NoValuesHaveNoBars) {
  EXPECT_TRUE(BarsOf({}, 20).counts.empty());
  EXPECT_THAT(BarsOf(Of({2}), 20).counts, ElementsAre(0, 0, 1));
  EXPECT_EQ(BarsOf(Of({70}), 20).counts.size(), 1U);
  EXPECT_EQ(BarsOf(Of({0}), 20).counts.size(), 1U);
}

TEST(BarsTest, RealsAreInBarsOfAnyWidth) {
  ValueCounts keys;
  for (int i = -100; i <= 100; ++i) {
    keys.Add(RealKey(i / 1000.0));
  }
  const Bars bars = BarsOfReals(keys, 50);
  EXPECT_FALSE(bars.single);
  EXPECT_DOUBLE_EQ(bars.width, 0.005);
  EXPECT_NEAR(bars.first, -0.1, 1e-9);
  EXPECT_EQ(Sum(bars), 201U);
  ValueCounts one;
  one.Add(RealKey(0.25));
  EXPECT_EQ(BarsOfReals(one, 50).counts.size(), 1U);
}

TEST(BarsTest, NoRealsAreTooFarApartOrTooNear) {
  const double pairs[][2] = {{-1e308, 1e308},   {-INFINITY, INFINITY}, {-2.5e-322, 2.5e-322},
                             {5e-324, 1e-323},  {1, 1 + 2.3e-16},      {1e300, 1.0000000001e300},
                             {-1e-200, 1e-200}, {1e18, 1e18 + 128},    {0, 1e-320}};
  for (const auto& [low, high] : pairs) {
    ValueCounts keys;
    keys.Add(RealKey(low));
    keys.Add(RealKey(high));
    const Bars bars = BarsOfReals(keys, 50);
    EXPECT_EQ(Sum(bars), 2U) << low;
    EXPECT_LE(bars.counts.size(), 51U) << low;
    EXPECT_TRUE(std::isfinite(bars.first) && std::isfinite(bars.End())) << low;
    EXPECT_GT(bars.End(), bars.first) << low;
  }
}

TEST(RealKeyTest, KeysAscendAsRealsDo) {
  const double values[] = {-INFINITY, -1e300, -2, -1, -1e-300, 0,
                           1e-300,    0.5,    1,  3,  1e300,   INFINITY};
  for (size_t i = 0; i < std::size(values); ++i) {
    EXPECT_EQ(RealOf(RealKey(values[i])), values[i]);
    EXPECT_TRUE(i == 0 || RealKey(values[i - 1]) < RealKey(values[i])) << i;
  }
  EXPECT_EQ(RealKey(-0.0), RealKey(0.0));
}

}  // namespace
}  // namespace marrowfin::testing
