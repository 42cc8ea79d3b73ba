#include "measure/NumberText.h"

#include <gtest/gtest.h>

#include <cmath>

#include "measure/ShareText.h"

namespace marrowfin::testing {
namespace {

TEST(NumberTextTest, CountsHaveCommas) {
  EXPECT_EQ(CountText(0), "0");
  EXPECT_EQ(CountText(999), "999");
  EXPECT_EQ(CountText(1000), "1,000");
  EXPECT_EQ(CountText(24000000), "24,000,000");
  EXPECT_EQ(CountText(~uint64_t{0}), "18,446,744,073,709,551,615");
  EXPECT_EQ(CountOf(1, "fire"), "1 fire");
  EXPECT_EQ(CountOf(0, "fire"), "0 fires");
  EXPECT_EQ(CountOf(2500, "fire"), "2,500 fires");
  EXPECT_EQ(AmountOf(1, "message"), "1 message");
  EXPECT_EQ(AmountOf(0.5, "message"), "0.500 messages");
  EXPECT_EQ(AmountOf(16, "byte"), "16 bytes");
}

TEST(NumberTextTest, ThreeDigitsCount) {
  EXPECT_EQ(ThreeDigits(0), "0");
  EXPECT_EQ(ThreeDigits(1), "1");
  EXPECT_EQ(ThreeDigits(100), "100");
  EXPECT_EQ(ThreeDigits(999), "999");
  EXPECT_EQ(ThreeDigits(1.2345), "1.23");
  EXPECT_EQ(ThreeDigits(12.345), "12.3");
  EXPECT_EQ(ThreeDigits(123.45), "123");
  EXPECT_EQ(ThreeDigits(0.0012345), "0.00123");
  EXPECT_EQ(ThreeDigits(999.6), "1,000");
  EXPECT_EQ(ThreeDigits(9.999), "10.0");
  EXPECT_EQ(ThreeDigits(0.9999), "1.00");
  EXPECT_EQ(ThreeDigits(12345), "12,300");
  EXPECT_EQ(ThreeDigits(1234567), "1,230,000");
  EXPECT_EQ(ThreeDigits(-1.5), "−1.50");
  EXPECT_EQ(ThreeDigits(-12345), "−12,300");
  EXPECT_EQ(ThreeDigits(NAN), "–");
}

TEST(NumberTextTest, WhatIsTooSmallToBeToldIsZeroAndWhatIsTooLargeTheLargest) {
  EXPECT_EQ(ThreeDigits(5e-324), "0");
  EXPECT_EQ(ThreeDigits(-5e-324), "0");
  EXPECT_EQ(WholeOf(18446744073709551616.0), ~uint64_t{0});
  EXPECT_EQ(WholeOf(12), 12U);
  EXPECT_EQ(WholeOf(-1), 0U);
}

TEST(NumberTextTest, SharesArePercent) {
  EXPECT_EQ(PercentText(0), "0 %");
  EXPECT_EQ(PercentText(1), "100 %");
  EXPECT_EQ(PercentText(0.12345), "12.3 %");
  EXPECT_EQ(PercentText(0.0000123), "0.00123 %");
}

TEST(NumberTextTest, PartsArePercentOfAllAndOfNothingNone) {
  EXPECT_EQ(ShareText(1, 8), "12.5 %");
  EXPECT_EQ(ShareText(0, 8), "0 %");
  EXPECT_EQ(ShareText(~uint64_t{0}, ~uint64_t{0}), "100 %");
  EXPECT_EQ(ShareText(0, 0), "–");
}

TEST(NumberTextTest, PlacesAreColumnAndRow) { EXPECT_EQ(PlaceText(3, 17), "(3, 17)"); }

}  // namespace
}  // namespace marrowfin::testing
