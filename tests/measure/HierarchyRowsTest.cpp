#include "measure/HierarchyRows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

namespace marrowfin::testing {
namespace {

const ArrayShape SHAPES[] = {{4, 2, 4},
                             {1, 1, 8},
                             {1, 3, 2},
                             {{2, 1}, {1, 3}, {5, 2}},
                             {{1, 1}, {1, 1}, {7, 11}},
                             {{3, 2}, {2, 2}, {1, 1}},
                             {1, 1, 1}};

// Elements in the order that is promised, by sorting.
std::vector<Place> InOrder(const ArrayShape& shape) {
  const auto key = [&](Place at) {
    const Place cluster = shape.ClusterOf(at);
    const Place domain = shape.DomainOf(at);
    return std::make_tuple(cluster.row, cluster.column, domain.row, domain.column, at.row,
                           at.column);
  };
  std::vector<Place> places;
  for (size_t i = 0; i < shape.Elements(); ++i) {
    places.push_back(shape.ElementAt(i));
  }
  std::sort(places.begin(), places.end(), [&](Place a, Place b) { return key(a) < key(b); });
  return places;
}

TEST(HierarchyRowsTest, ElementsStandByClusterDomainAndElementEachRowByRow) {
  for (const ArrayShape& shape : SHAPES) {
    const std::vector<Place> places = InOrder(shape);
    for (const size_t most : {size_t{1}, size_t{2}, size_t{7}, size_t{64}, size_t{100000}}) {
      const HierarchyRows rows(shape, most);
      ASSERT_EQ(rows.Count() * rows.Elements(), places.size());
      for (size_t i = 0; i < places.size(); ++i) {
        ASSERT_EQ(rows.RowOf(places[i]), i / rows.Elements()) << i;
      }
      for (size_t row = 0; row < rows.Count(); ++row) {
        EXPECT_EQ(rows.FirstOf(row), places[row * rows.Elements()]) << row;
      }
    }
  }
}

TEST(HierarchyRowsTest, RowsAreAsManyAsMayBeAndEndWithDomainsAndClusters) {
  for (const ArrayShape& shape : SHAPES) {
    const size_t domain = static_cast<size_t>(shape.pes.columns) * shape.pes.rows;
    const size_t cluster = domain * shape.domains.columns * shape.domains.rows;
    size_t last = 0;
    for (size_t most = 1; most <= shape.Elements() + 1; ++most) {
      const HierarchyRows rows(shape, most);
      EXPECT_LE(rows.Count(), most);
      EXPECT_GE(rows.Count(), last);
      last = rows.Count();
      for (const size_t unit : {domain, cluster}) {
        EXPECT_TRUE(rows.Elements() % unit == 0 || unit % rows.Elements() == 0) << most;
      }
    }
    EXPECT_EQ(last, shape.Elements());
  }
  // A picture that is too low for 1,024 elements has four in a row of it, which stand in a row.
  EXPECT_EQ(HierarchyRows({4, 2, 4}, 340).Elements(), 4U);
  EXPECT_EQ(HierarchyRows({4, 2, 4}, 1024).Elements(), 1U);
}

}  // namespace
}  // namespace marrowfin::testing
