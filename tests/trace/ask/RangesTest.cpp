#include "trace/ask/Ranges.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace marrowfin {
namespace {

using ::testing::HasSubstr;

constexpr uint64_t MOST = ~uint64_t{0};

std::pair<uint64_t, uint64_t> Range(const std::string& text) {
  NumberRange range;
  EXPECT_EQ("", ParseRange(text, range));
  return {range.first, range.last};
}

TEST(RangesTest, ARangeHasBothItsEndsAndEitherMayBeLeftOut) {
  EXPECT_EQ(Range("7"), std::make_pair(7UL, 7UL));
  EXPECT_EQ(Range("007:0010"), std::make_pair(7UL, 10UL));
  EXPECT_EQ(Range("7:"), std::make_pair(7UL, MOST));
  EXPECT_EQ(Range(":9"), std::make_pair(0UL, 9UL));
  EXPECT_EQ(Range("0:18446744073709551615"), std::make_pair(0UL, MOST));
}

TEST(RangesTest, PointsSayWhatAColonDoes) {
  EXPECT_EQ(Range("7..9"), std::make_pair(7UL, 9UL));
  EXPECT_EQ(Range("7.."), std::make_pair(7UL, MOST));
  EXPECT_EQ(Range("..9"), std::make_pair(0UL, 9UL));
  NumberRange range;
  EXPECT_EQ("9..7 ends before it begins", ParseRange("9..7", range));
}

TEST(RangesTest, ThreadsComeOutInOrderAndApart) {
  const auto threads = [](const std::string& text) {
    std::vector<ThreadRange> parsed;
    EXPECT_EQ("", ParseThreads(text, parsed)) << text;
    return parsed;
  };
  typedef std::vector<ThreadRange> Ranges;
  EXPECT_EQ(threads("3"), (Ranges{{3, 3}}));
  EXPECT_EQ(threads("0,2-5"), (Ranges{{0, 0}, {2, 5}}));
  EXPECT_EQ(threads("7,2-5,1,4-6"), (Ranges{{1, 7}}));
  EXPECT_EQ(threads("4294967295,5-6,4294967290-4294967294"),
            (Ranges{{5, 6}, {4294967290, 4294967295}}));
  for (const std::string text :
       {"", ",", "1,", ",1", "x", "1-", "-1", "5-2", "1:2", "1-2-3", " 1", "4294967296"}) {
    std::vector<ThreadRange> parsed;
    EXPECT_THAT(ParseThreads(text, parsed), HasSubstr(" is no list of threads")) << text;
  }
}

TEST(RangesTest, ARectangleHasTwoCornersInOrder) {
  RegionWords region;
  EXPECT_EQ("", ParseRectangle("1,2,3,4", region));
  EXPECT_FALSE(region.NeedsArray());
  EXPECT_EQ(region.Positions(), (Region{{1, 2}, {3, 4}}));
  for (const std::string text : {"", "1,2", "1,2,3", "1,2,3,4,5", "1,2:3,4", "a,2,3,4", "1,2,,4"}) {
    EXPECT_THAT(ParseRectangle(text, region), HasSubstr(" is no rectangle")) << text;
  }
  EXPECT_EQ("3,4,1,4 has its last corner before its first", ParseRectangle("3,4,1,4", region));
}

TEST(RangesTest, APlaceIsAColumnAndARow) {
  Place place;
  EXPECT_EQ("", ParsePlace("7,2", place));
  EXPECT_EQ(place, (Place{7, 2}));
  for (const std::string text : {"", "7", "7,2:7,2", "cluster:7,2", "7,2,1"}) {
    EXPECT_THAT(ParsePlace(text, place), HasSubstr(" is no position")) << text;
  }
}

TEST(RangesTest, WhatIsNoRangeIsToldSo) {
  for (const std::string text :
       {"", ":", "..", ".", "...", "1.2", "1...2", "x", "1-2", "1:x", "1:2:3", " 1", "1 ", "-1",
        "+1", "0x1", "1.5", "18446744073709551616", "1:18446744073709551616"}) {
    NumberRange range;
    EXPECT_THAT(ParseRange(text, range), HasSubstr(" is no number and no range ")) << text;
  }
  NumberRange range;
  EXPECT_EQ("9:7 ends before it begins", ParseRange("9:7", range));
}

RegionWords RegionOf(const std::string& text) {
  RegionWords region;
  EXPECT_EQ("", ParseRegion(text, region));
  return region;
}

TEST(RangesTest, ARegionIsAPositionARectangleAClusterOrADomain) {
  const ArrayShape shape({2, 3}, {2, 1}, {4, 5});
  const auto positions = [&](const std::string& text) {
    const std::optional<Region> region = RegionOf(text).In(shape);
    return region ? std::vector<Place>{region->first, region->last} : std::vector<Place>();
  };
  using Corners = std::vector<Place>;
  EXPECT_EQ((Corners{{7, 2}, {7, 2}}), positions("7,2"));
  EXPECT_EQ((Corners{{7, 2}, {9, 4294967295}}), positions("7,2:9,4294967295"));
  EXPECT_EQ((Corners{{8, 10}, {15, 14}}), positions("cluster:1,2"));
  EXPECT_EQ((Corners{{12, 10}, {15, 14}}), positions("domain:3,2"));
  for (const char* none : {"cluster:2,0", "cluster:0,3", "domain:4,0", "domain:0,3"}) {
    EXPECT_EQ(Corners(), positions(none)) << none;
  }
  EXPECT_FALSE(RegionOf("7,2").NeedsArray());
  EXPECT_TRUE(RegionOf("cluster:1,2").NeedsArray());
}

TEST(RangesTest, WhatIsNoRegionIsToldSo) {
  for (const std::string text :
       {"", "7", "7,", ",2", "7,2:", ":7,2", "7,2:8", "7 2", "7,2,3", "-1,2", "4294967296,0",
        "cluster:", "cluster:1", "cluster:1,2:3,4", "domain:x,1", "pe:1,2", "cluster1,2"}) {
    RegionWords region;
    EXPECT_THAT(ParseRegion(text, region), HasSubstr(" is no COLUMN,ROW, no ")) << text;
  }
  RegionWords region;
  for (const std::string text : {"1,1:0,1", "1,1:1,0"}) {
    EXPECT_EQ(text + " has its last corner before its first", ParseRegion(text, region));
  }
}

}  // namespace
}  // namespace marrowfin
