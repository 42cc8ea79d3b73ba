#include "measure/Level.h"

#include <gtest/gtest.h>

#include <vector>

namespace marrowfin::testing {
namespace {

// Two clusters side by side, each of one domain above another, each of two elements side by side.
constexpr ArrayShape SHAPE({2, 1}, {1, 2}, {2, 1});

TEST(LevelTest, EveryLevelHasItsUnits) {
  EXPECT_EQ(UnitsOf(SHAPE, Level::PE), (PerAxis{4, 2}));
  EXPECT_EQ(UnitsOf(SHAPE, Level::DOMAIN), (PerAxis{2, 2}));
  EXPECT_EQ(UnitsOf(SHAPE, Level::CLUSTER), (PerAxis{2, 1}));
  EXPECT_EQ(UnitOf(SHAPE, Level::DOMAIN, {3, 1}), (Place{1, 1}));
  EXPECT_EQ(UnitOf(SHAPE, Level::CLUSTER, {3, 1}), (Place{1, 0}));
}

TEST(LevelTest, ElementsBecomeSumsMeansAndMaximaOfTheirUnits) {
  const std::vector<double> elements = {1, 3, 0, 0, 5, 5, 8, 0};
  EXPECT_EQ(Reduce(SHAPE, Level::PE, Reduction::MEAN, elements), elements);
  EXPECT_EQ(Reduce(SHAPE, Level::DOMAIN, Reduction::SUM, elements),
            (std::vector<double>{4, 0, 10, 8}));
  EXPECT_EQ(Reduce(SHAPE, Level::DOMAIN, Reduction::MEAN, elements),
            (std::vector<double>{2, 0, 5, 4}));
  EXPECT_EQ(Reduce(SHAPE, Level::CLUSTER, Reduction::MEAN, elements),
            (std::vector<double>{3.5, 2}));
  EXPECT_EQ(Reduce(SHAPE, Level::CLUSTER, Reduction::MAX, elements), (std::vector<double>{5, 8}));
}

TEST(LevelTest, LevelsHaveTheNamesThatPicturesShow) {
  EXPECT_STREQ(LevelName(Level::PE), "PE");
  EXPECT_STREQ(LevelName(Level::DOMAIN), "domain");
  EXPECT_STREQ(LevelName(Level::CLUSTER), "cluster");
}

}  // namespace
}  // namespace marrowfin::testing
