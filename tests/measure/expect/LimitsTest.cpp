#include "measure/expect/Limits.h"

#include <gtest/gtest.h>

namespace marrowfin {
namespace {

Limits AtLeast(double least) { return {least, {}}; }
Limits AtMost(double most) { return {{}, most}; }

TEST(LimitsTest, EndsBelongToWhatIsWantedUnlessTheyAreOpen) {
  EXPECT_TRUE(AtMost(6).Hold(6));
  EXPECT_FALSE(AtMost(6).Hold(6.5));
  EXPECT_TRUE(AtLeast(0.8).Hold(0.8));
  EXPECT_FALSE(AtLeast(0.8).Hold(0.79));
  EXPECT_FALSE((Limits{{}, 6, false, true}).Hold(6));
  EXPECT_TRUE((Limits{{}, 6, false, true}).Hold(5.9));
  EXPECT_FALSE((Limits{6, {}, true, false}).Hold(6));
  EXPECT_TRUE(Limits().Hold(-1e300));
}

TEST(LimitsTest, TheExcessIsHowFarANumberIsBeyondAnEnd) {
  const Limits limits = {2, 6};
  EXPECT_EQ(limits.Excess(9), 3);
  EXPECT_EQ(limits.Excess(1), 1);
  EXPECT_EQ(limits.Excess(5), -1);
  EXPECT_EQ(limits.Excess(2), 0);
}

TEST(LimitsTest, NarrowingKeepsTheTighterOfEachEnd) {
  Limits limits = {2, 6};
  limits.Narrow({3, 9});
  EXPECT_EQ(limits, (Limits{3, 6}));
  limits.Narrow({3, {}, true, false});
  EXPECT_EQ(limits, (Limits{3, 6, true, false}));
  limits.Narrow({2, 6, true, true});
  EXPECT_EQ(limits, (Limits{3, 6, true, true}));
  EXPECT_FALSE(limits.AreEmpty());
  limits.Narrow(AtMost(3));
  EXPECT_TRUE(limits.AreEmpty());
  EXPECT_FALSE((Limits{3, 3}).AreEmpty());
  EXPECT_TRUE((Limits{4, 3}).AreEmpty());
}

TEST(LimitsTest, WithinIsAroundWhatSomethingIsToBe) {
  Bound bound;
  bound.equals = 200;
  EXPECT_EQ(bound.For({}), (Limits{200, 200}));
  bound.within = 3;
  EXPECT_EQ(bound.For({}), (Limits{197, 203}));
  bound.withinShare = 0.05;
  EXPECT_EQ(bound.For({}), (Limits{190, 210})) << "the wider";
  bound.equals = -200;
  EXPECT_EQ(bound.For({}), (Limits{-210, -190})) << "a distance has no sign";
}

TEST(LimitsTest, SharesAreOfTheBaseline) {
  Bound bound;
  bound.withinShare = 0.5;
  EXPECT_EQ(bound.For({}), Limits()) << "which is not there";
  EXPECT_EQ(bound.For(8), (Limits{4, 12}));
  EXPECT_EQ(bound.For(0), (Limits{0, 0}));
  Bound ends;
  ends.ofBaseline = AtMost(1.5);
  EXPECT_EQ(ends.For(8), AtMost(12));
  EXPECT_EQ(ends.For(-8), AtLeast(-12)) << "a larger share of a negative number is lower";
  ends.limits = AtMost(10);
  EXPECT_EQ(ends.For(8), AtMost(10));
}

TEST(LimitsTest, NumbersAreToldAsInRules) {
  EXPECT_EQ(PlainNumber(6), "6");
  EXPECT_EQ(PlainNumber(1234567), "1234567");
  EXPECT_EQ(PlainNumber(-3), "-3");
  EXPECT_EQ(PlainNumber(5 / 11.0), "0.454545");
  EXPECT_EQ(PlainNumber(5 / 11.0, 0), "0.45454545454545453");
  EXPECT_EQ(PlainNumber(1e300), "1e+300");
  EXPECT_EQ(LimitsText(AtMost(6)), "at most 6");
  EXPECT_EQ(LimitsText({{}, 6, false, true}), "below 6");
  EXPECT_EQ(LimitsText(AtLeast(0.8)), "at least 0.8");
  EXPECT_EQ(LimitsText({2, {}, true, false}), "above 2");
  EXPECT_EQ(LimitsText({2, 6, true, true}), "above 2 to below 6");
  EXPECT_EQ(LimitsText({2, 2}), "exactly 2");
  EXPECT_EQ(LimitsText({}), "anything");
}

}  // namespace
}  // namespace marrowfin
