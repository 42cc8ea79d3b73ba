#include "measure/expect/MeasureTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace marrowfin {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

TEST(MeasureTableTest, EveryMeasureHasANameOfItsOwnWordsAndANumber) {
  std::set<std::string> names;
  for (const MeasureEntry& measure : AllMeasures()) {
    EXPECT_TRUE(names.insert(measure->name).second) << measure->name;
    EXPECT_THAT(measure->what, Not(IsEmpty())) << measure->name;
    EXPECT_EQ(measure->IsOfUnits(), static_cast<bool>(measure->numbers)) << measure->name;
    EXPECT_EQ(!measure->IsOfUnits(), static_cast<bool>(measure->number)) << measure->name;
    EXPECT_EQ(FindMeasure(measure->name), measure);
  }
  EXPECT_GT(names.size(), 100U);
}

TEST(MeasureTableTest, DistributionsHaveAnyPercentile) {
  EXPECT_EQ(FindMeasure("distance.p90")->unit, "links");
  EXPECT_EQ(FindMeasure("packets.latency.p1")->of, MeasureOf::PACKETS);
  for (const char* const none : {"distance.p0", "distance.p100", "distance.p", "distance.p05",
                                 "distance.p9x", "distance.p4294967297", "sends.p50", "p50", ""}) {
    EXPECT_EQ(FindMeasure(none), nullptr) << none;
  }
}

TEST(MeasureTableTest, AStarStandsForAnything) {
  EXPECT_TRUE(MeetsPattern("distance.max", "*"));
  EXPECT_TRUE(MeetsPattern("distance.max", "distance.*"));
  EXPECT_TRUE(MeetsPattern("distance.max", "*.max"));
  EXPECT_TRUE(MeetsPattern("distance.max", "d*.m*x"));
  EXPECT_TRUE(MeetsPattern("distance.max", "distance.max"));
  EXPECT_TRUE(MeetsPattern("distance.max", "distance.max*"));
  EXPECT_TRUE(MeetsPattern("", "*"));
  EXPECT_TRUE(MeetsPattern("aab", "*ab")) << "which is come back to";
  EXPECT_FALSE(MeetsPattern("distance.max", "distance"));
  EXPECT_FALSE(MeetsPattern("distance.max", "*.min"));
  EXPECT_FALSE(MeetsPattern("distance", "distance.*"));
  EXPECT_FALSE(MeetsPattern("a", ""));
  EXPECT_FALSE(MeetsPattern("abab", "*aa*"));
}

}  // namespace
}  // namespace marrowfin
