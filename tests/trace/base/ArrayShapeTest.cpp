#include "trace/base/ArrayShape.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace marrowfin::testing {
namespace {

const ArrayShape SHAPES[] = {
    {1, 1, 1}, {4, 2, 4}, {3, 1, 7}, {{2, 3}, {1, 2}, {5, 1}}, {{1, 4}, {3, 1}, {2, 3}}};

// Counts from the first element on, one after the other, what every piece of arithmetic tells.
TEST(ArrayShapeTest, PositionsAreToldAsCountingTellsThem) {
  for (const ArrayShape& shape : SHAPES) {
    size_t number = 0;
    for (uint32_t row = 0; row < shape.clusters.rows * shape.domains.rows * shape.pes.rows; ++row) {
      Place domain = {0, row / shape.pes.rows};
      uint32_t inDomain = 0;
      for (uint32_t column = 0; column < shape.Columns(); ++column, ++number, ++inDomain) {
        if (inDomain == shape.pes.columns) {
          inDomain = 0;
          ++domain.column;
        }
        const Place at = {column, row};
        const Place cluster = {domain.column / shape.domains.columns,
                               domain.row / shape.domains.rows};
        ASSERT_TRUE(shape.HasElement(at));
        ASSERT_EQ(shape.ElementNumber(at), number);
        ASSERT_TRUE(shape.ElementAt(number) == at);
        ASSERT_TRUE(shape.DomainOf(at) == domain);
        ASSERT_TRUE(shape.ClusterOf(at) == cluster);
        ASSERT_EQ(shape.FirstOfDomain(domain).column, column - inDomain);
        ASSERT_EQ(shape.FirstOfDomain(domain).row, row - row % shape.pes.rows);
        ASSERT_TRUE(shape.ClusterOf(shape.FirstOfCluster(cluster)) == cluster);
      }
    }
    EXPECT_EQ(shape.Elements(), number);
    EXPECT_EQ(shape.Rows(), shape.clusters.rows * shape.ClusterRows());
    EXPECT_FALSE(shape.HasElement({shape.Columns(), 0}));
    EXPECT_FALSE(shape.HasElement({0, shape.Rows()}));
  }
}

TEST(ArrayShapeTest, EveryClusterHasOneSwitchFourPlacesFromItsFirstElement) {
  for (const ArrayShape& shape : SHAPES) {
    std::set<std::pair<uint32_t, uint32_t>> places;
    for (size_t number = 0; number < shape.Switches(); ++number) {
      const Place place = shape.SwitchAt(number);
      const Place cluster = shape.ClusterOfSwitch(place);
      const Place first = shape.FirstOfCluster(cluster);
      ASSERT_TRUE(shape.HasSwitch(place));
      ASSERT_TRUE(shape.SwitchOf(cluster) == place);
      ASSERT_EQ(shape.SwitchNumber(place), number);
      ASSERT_EQ(place.column, first.column + 4);
      ASSERT_EQ(place.row, first.row + 4);
      places.insert({place.column, place.row});
    }
    EXPECT_EQ(places.size(), size_t{shape.clusters.columns} * shape.clusters.rows);
    for (uint32_t row = 0; row < shape.Rows() + 10; ++row) {
      for (uint32_t column = 0; column < shape.Columns() + 10; ++column) {
        ASSERT_EQ(shape.HasSwitch({column, row}), places.count({column, row}) == 1);
      }
    }
    EXPECT_FALSE(shape.HasSwitch({~0U, 4}));
    EXPECT_FALSE(shape.HasSwitch({4, 0}));
  }
}

TEST(ArrayShapeTest, WhatAViewerCanShowIsSquareAndAtMostFourThousandALongASide) {
  EXPECT_TRUE(ArrayShape().IsDrawable());
  EXPECT_TRUE(ArrayShape(4096, 1, 1).IsDrawable());
  EXPECT_TRUE(ArrayShape(16, 16, 16).IsDrawable());
  EXPECT_FALSE(ArrayShape(16, 16, 17).IsDrawable());
  EXPECT_FALSE(ArrayShape(0, 1, 1).IsDrawable());
  EXPECT_FALSE(ArrayShape(1, 0, 1).IsDrawable());
  EXPECT_FALSE(ArrayShape(1, 1, 0).IsDrawable());
  // Their products are 2^64 and 2^32.
  EXPECT_FALSE(ArrayShape(1U << 31, 1U << 31, 4).IsDrawable());
  EXPECT_FALSE(ArrayShape(1U << 16, 1U << 16, 1).IsDrawable());
  EXPECT_FALSE(ArrayShape({4, 3}, {2, 2}, {4, 4}).IsDrawable());
  EXPECT_FALSE(ArrayShape({4, 4}, {2, 1}, {4, 4}).IsDrawable());
  EXPECT_FALSE(ArrayShape({4, 4}, {2, 2}, {4, 8}).IsDrawable());
}

}  // namespace
}  // namespace marrowfin::testing
