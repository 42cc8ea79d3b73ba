#include "measure/Ways.h"

#include <gtest/gtest.h>

namespace marrowfin::testing {
namespace {

TEST(WaysTest, OfAnArrayOfDomainsTheHierarchyCounts) {
  const Ways ways(ArrayShape(3, 2, 2));
  EXPECT_EQ(ways.Between({0, 0}, {1, 1}), 0U);
  EXPECT_EQ(ways.Between({0, 0}, {2, 0}), 1U);
  EXPECT_EQ(ways.Between({3, 3}, {4, 3}), 2U);
  EXPECT_EQ(ways.Between({0, 0}, {11, 11}), 5U);
  EXPECT_EQ(ways.Text(0), "within a domain");
  EXPECT_EQ(ways.Text(1), "within a cluster");
  EXPECT_EQ(ways.Text(2), "1 cluster away");
  EXPECT_EQ(ways.Text(5), "4 clusters away");
}

TEST(WaysTest, OfASingleDomainDistancesCountTheShorterWayRound) {
  const ArrayShape shape({1, 1}, {1, 1}, {8, 4});
  const Ways flat(shape);
  EXPECT_EQ(flat.Between({0, 0}, {7, 3}), 10U);
  EXPECT_EQ(flat.Text(0), "to itself");
  EXPECT_EQ(flat.Text(1), "1 link away");
  EXPECT_EQ(flat.Text(2), "2 links away");
  const Ways ring(shape, true, false);
  EXPECT_EQ(ring.Between({0, 0}, {7, 3}), 4U);
  EXPECT_EQ(ring.Between({0, 0}, {4, 0}), 4U);
  EXPECT_EQ(Ways(ArrayShape(4, 1, 2), true, true).Between({0, 0}, {7, 7}), 3U);
}

TEST(WaysTest, WhatIsOutsideOrTooFarIsTheLongestWay) {
  const Ways ways(ArrayShape(2, 1, 2));
  EXPECT_EQ(ways.Between({0, 0}, {4, 0}), Ways::MOST - 1);
  EXPECT_EQ(ways.Between({0, 9}, {0, 0}), Ways::MOST - 1);
  const Ways wide(ArrayShape({1, 1}, {1, 1}, {1U << 30, 1}));
  EXPECT_EQ(wide.Between({0, 0}, {9000, 0}), Ways::MOST - 1);
  EXPECT_EQ(wide.Between({0, 0}, {1U << 29, 0}), Ways::MOST - 1);
  EXPECT_EQ(wide.Between({0, 0}, {40, 0}), 40U);
}

}  // namespace
}  // namespace marrowfin::testing
