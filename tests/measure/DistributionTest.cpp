#include "measure/Distribution.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace marrowfin::testing {
namespace {

using ::testing::DoubleNear;
using ::testing::Optional;

TEST(DistributionTest, WhatIsSpreadEvenlyIsNotUneven) {
  const std::vector<double> even(10, 3.0);
  const std::optional<Imbalance> imbalance = ImbalanceOf(even);
  ASSERT_TRUE(imbalance);
  EXPECT_DOUBLE_EQ(imbalance->maxOverMean, 1);
  EXPECT_DOUBLE_EQ(imbalance->gini, 0);
  EXPECT_DOUBLE_EQ(imbalance->cov, 0);
}

TEST(DistributionTest, AllAtOneOfFourPlacesIsAsUnevenAsFourPlacesCanBe) {
  const std::vector<double> values = {0, 0, 12, 0};
  const std::optional<Imbalance> imbalance = ImbalanceOf(values);
  ASSERT_TRUE(imbalance);
  EXPECT_DOUBLE_EQ(imbalance->maxOverMean, 4);
  EXPECT_DOUBLE_EQ(imbalance->gini, 0.75);
  EXPECT_DOUBLE_EQ(imbalance->cov, std::sqrt(3.0));
}

TEST(DistributionTest, NothingAnywhereHasNoMeanToCompareWith) {
  EXPECT_FALSE(ImbalanceOf(std::vector<double>{}));
  EXPECT_FALSE(ImbalanceOf(std::vector<double>{0, 0}));
}

// Half the mean difference of all pairs, relative to the mean.
double GiniByPairs(const std::vector<double>& values) {
  double differences = 0;
  double sum = 0;
  for (const double a : values) {
    sum += a;
    for (const double b : values) {
      differences += std::abs(a - b);
    }
  }
  return differences / (2 * static_cast<double>(values.size()) * sum);
}

TEST(DistributionTest, TheGiniCoefficientIsHalfTheRelativeMeanDifferenceOfAllPairs) {
  std::mt19937 random(1);
  for (int round = 0; round < 50; ++round) {
    std::vector<double> values(1 + random() % 40);
    for (double& value : values) {
      value = random() % 3 == 0 ? 0 : static_cast<double>(random() % 1000);
    }
    values[0] = 1;
    const std::optional<Imbalance> imbalance = ImbalanceOf(values);
    ASSERT_TRUE(imbalance);
    EXPECT_NEAR(imbalance->gini, GiniByPairs(values), 1e-12);
  }
}

TEST(DistributionTest, PercentilesAreNearestRanks) {
  std::mt19937 random(2);
  for (int round = 0; round < 50; ++round) {
    std::vector<uint64_t> values(100 + random() % 400);
    ValueCounts counts;
    for (uint64_t& value : values) {
      value = random() % 50;
      counts.Add(value);
    }
    std::sort(values.begin(), values.end());
    for (const uint32_t percent : {1U, 50U, 95U, 99U, 100U}) {
      const size_t rank = (values.size() * percent + 99) / 100;
      EXPECT_THAT(counts.Percentile(percent), Optional(values[rank - 1])) << percent;
    }
  }
}

TEST(DistributionTest, FewerThanTwentyValuesHaveNoPercentileAndTheLastOfAHundredNeedsAHundred) {
  ValueCounts counts;
  counts.Add(7, 19);
  EXPECT_FALSE(counts.Percentile(50));
  counts.Add(7);
  EXPECT_THAT(counts.Percentile(50), Optional(7U));
  counts.Add(8, 79);
  EXPECT_FALSE(counts.Percentile(99));
  counts.Add(9);
  EXPECT_THAT(counts.Percentile(99), Optional(8U));
}

TEST(DistributionTest, CountsOfValuesAddUp) {
  ValueCounts a;
  a.Add(3, 2);
  a.Add(9, 0);
  ValueCounts b;
  b.Add(3);
  b.Add(1, 3);
  a.Add(b);
  EXPECT_EQ(a.Counts(), (std::map<uint64_t, uint64_t>{{1, 3}, {3, 3}}));
  EXPECT_EQ(a.Size(), 6U);
  EXPECT_DOUBLE_EQ(a.Mean(), 2);
  EXPECT_EQ(a.Smallest(), 1U);
  EXPECT_EQ(a.Largest(), 3U);
}

}  // namespace
}  // namespace marrowfin::testing
