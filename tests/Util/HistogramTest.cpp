#include "Util/Histogram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <type_traits>

#include "tests/Util/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

std::string TextOf(const Histogram& histogram) {
  std::string text = "old";
  histogram.ToString(text);
  return text;
}

TEST(HistogramTest, FieldsHaveTheirTypesAndOrder) {
  const Histogram histogram;
  static_assert(std::is_base_of_v<Printable, Histogram>);
  static_assert(std::is_same_v<decltype(histogram.smallestActiveBucket), uint32>);
  static_assert(std::is_same_v<decltype(histogram.sum), unsigned long long>);
  static_assert(std::is_same_v<decltype(histogram.itemCount), unsigned long long>);
  static_assert(std::is_same_v<decltype(histogram.data), std::vector<unsigned long long>>);
  EXPECT_EQ(8u, OffsetOf(&histogram, &histogram.smallestActiveBucket));
  EXPECT_EQ(16u, OffsetOf(&histogram, &histogram.sum));
  EXPECT_EQ(24u, OffsetOf(&histogram, &histogram.itemCount));
  EXPECT_EQ(32u, OffsetOf(&histogram, &histogram.data));
  EXPECT_EQ(56u, sizeof(Histogram));
}

TEST(HistogramTest, FreshOneHoldsNothingAndShowsNothing) {
  Histogram histogram;
  EXPECT_EQ(0u, histogram.sum);
  EXPECT_EQ(0u, histogram.itemCount);
  EXPECT_THAT(histogram.data, IsEmpty());
  EXPECT_EQ(0.0f, histogram.Mean());
  EXPECT_EQ("", TextOf(histogram));
}

TEST(HistogramTest, IncrementCountsInTheBucketTheItemsAndTheSum) {
  Histogram histogram;
  histogram.Increment(3, 7);
  EXPECT_THAT(histogram.data, ElementsAre(0, 0, 0, 7));
  EXPECT_EQ(7u, histogram.itemCount);
  EXPECT_EQ(21u, histogram.sum);
  histogram.Increment(2, 3);
  histogram.Increment(3, 1);
  EXPECT_THAT(histogram.data, ElementsAre(0, 0, 3, 8));
  EXPECT_EQ(11u, histogram.itemCount);
  EXPECT_EQ(30u, histogram.sum);
}

TEST(HistogramTest, SumsGoBeyond32Bits) {
  Histogram histogram;
  histogram.Increment(100000, INT_MAX);
  histogram.Increment(100000, INT_MAX);
  EXPECT_EQ(2ull * INT_MAX, histogram.itemCount);
  EXPECT_EQ(200000ull * INT_MAX, histogram.sum);
  EXPECT_EQ(100000.0f, histogram.Mean());
}

TEST(HistogramTest, SmallestActiveBucketIsTheLowestWithACount) {
  Histogram histogram;
  histogram.Increment(9, 1);
  EXPECT_EQ(9u, histogram.smallestActiveBucket);
  histogram.Increment(4, 1);
  EXPECT_EQ(4u, histogram.smallestActiveBucket);
  histogram.Increment(6, 1);
  EXPECT_EQ(4u, histogram.smallestActiveBucket);
  histogram.Increment(0, 1);
  EXPECT_EQ(0u, histogram.smallestActiveBucket);
}

TEST(HistogramTest, BucketThatGetsNoCountIsNotActive) {
  Histogram histogram;
  histogram.Increment(5, 2);
  histogram.Increment(1, 0);
  EXPECT_EQ(5u, histogram.smallestActiveBucket);
  histogram.Increment(8, 0);
  EXPECT_THAT(histogram.data, ElementsAre(0, 0, 0, 0, 0, 2, 0, 0, 0));
}

TEST(HistogramTest, NegativeCountTakesItemsBack) {
  Histogram histogram;
  histogram.Increment(5, 4);
  histogram.Increment(5, -1);
  EXPECT_EQ(3u, histogram.data[5]);
  EXPECT_EQ(3u, histogram.itemCount);
  EXPECT_EQ(15u, histogram.sum);
}

TEST(HistogramTest, MeanIsTheSumOverTheItems) {
  Histogram histogram;
  histogram.Increment(1, 1);
  histogram.Increment(2, 2);
  static_assert(std::is_same_v<decltype(histogram.Mean()), float>);
  EXPECT_EQ(static_cast<float>(5.0 / 3.0), histogram.Mean());
}

TEST(HistogramTest, ResetForgetsEverything) {
  Histogram histogram;
  histogram.Increment(2, 3);
  histogram.Reset();
  EXPECT_EQ(0u, histogram.sum);
  EXPECT_EQ(0u, histogram.itemCount);
  EXPECT_THAT(histogram.data, IsEmpty());
  EXPECT_EQ("", TextOf(histogram));
  histogram.Increment(7, 1);
  EXPECT_EQ(7u, histogram.smallestActiveBucket);
}

TEST(HistogramTest, TextGivesCountShareAndRunningTotalsOfEachBucket) {
  Histogram histogram;
  histogram.Increment(2, 3);
  histogram.Increment(3, 7);
  EXPECT_EQ(
      "        2[        3 0.300         3 0.300]\t"
      "        3[        7 0.700        10 1.000]\t",
      TextOf(histogram));
}

TEST(HistogramTest, TextReplacesWhatTheStringHeldAndReturnsItsCharacters) {
  Histogram histogram;
  std::string text = "old";
  const char* characters = histogram.ToString(text);
  EXPECT_EQ(text.c_str(), characters);
  EXPECT_EQ("", text);
}

TEST(HistogramTest, TextStartsAtTheSmallestActiveBucketAndShowsEmptyOnesAfterIt) {
  Histogram histogram;
  histogram.Increment(1, 1);
  histogram.Increment(3, 3);
  EXPECT_EQ(
      "        1[        1 0.250         1 0.250]\t"
      "        2[        0 0.000         1 0.250]\t"
      "        3[        3 0.750         4 1.000]\t",
      TextOf(histogram));
  histogram.smallestActiveBucket = 3;
  EXPECT_EQ("        3[        3 0.750         3 0.750]\t", TextOf(histogram));
}

TEST(HistogramTest, TextIsEmptyWhereTheSmallestActiveBucketIsTheSizeOfTheData) {
  Histogram histogram;
  histogram.Increment(3, 1);
  histogram.smallestActiveBucket = 4;
  EXPECT_EQ("", TextOf(histogram));
}

TEST(HistogramTest, TextHoldsUnsignedNumbersOf64Bits) {
  Histogram histogram;
  histogram.smallestActiveBucket = 0;
  histogram.data = {18446744073709551614ull, 1};
  histogram.itemCount = 18446744073709551615ull;
  EXPECT_EQ(
      "        0[18446744073709551614 1.000 18446744073709551614 1.000]\t"
      "        1[        1 0.000 18446744073709551615 1.000]\t",
      TextOf(histogram));
}

TEST(HistogramTest, SharesOfNoItemsPrintAsTheLibraryPrintsADivisionByZero) {
  Histogram histogram;
  histogram.smallestActiveBucket = 0;
  histogram.data = {0, 2};
  EXPECT_THAT(TextOf(histogram), MatchesRegex("        0\\[        0 +-?nan         0 +-?nan\\]\t"
                                              "        1\\[        2   inf         2   inf\\]\t"));
}

TEST(HistogramTest, TextThroughTheBaseIsTheSame) {
  Histogram histogram;
  histogram.Increment(0, 1);
  Printable& base = histogram;
  EXPECT_STREQ("        0[        1 1.000         1 1.000]\t", base.ToString());
}

}  // namespace
}  // namespace marrowfin::testing
