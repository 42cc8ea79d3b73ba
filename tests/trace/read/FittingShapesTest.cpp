#include "trace/read/FittingShapes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

namespace marrowfin {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr std::optional<ArrayShape> NONE = std::nullopt;

// A summary of what fired, transmitted and was sent, as far as shapes ask for it.
class TraceOf {
 public:
  TraceOf& Fires(Place place) {
    summary.fired.Include(place);
    ++summary.fires;
    return *this;
  }
  TraceOf& Sends(Place from, Place to) {
    summary.sent.Include(from);
    summary.sent.Include(to);
    ++summary.sends;
    return *this;
  }
  TraceOf& Switches(Place place) {
    summary.switchPlaces.push_back(place);
    ++summary.switches;
    return *this;
  }

  FittingShapes Shapes() const { return ShapesThatFit(summary); }
  std::optional<ArrayShape> View() const { return Shapes().view; }

  Summary summary;
};

TEST(FittingShapesTest, AFlatMeshIsOneClusterOfOneDomain) {
  const FittingShapes fitting = TraceOf().Fires({9, 9}).Shapes();
  EXPECT_EQ(ArrayShape(1, 1, 10), fitting.view);
  EXPECT_EQ(NONE, fitting.rectangle);
  EXPECT_FALSE(fitting.endsOutside);
  EXPECT_EQ(ArrayShape(1, 1, 1), TraceOf().Fires({0, 0}).View());
  EXPECT_EQ(ArrayShape(1, 1, 4096), TraceOf().Fires({4095, 0}).View());
}

TEST(FittingShapesTest, OthersHoldAsMuchInNoMoreElements) {
  EXPECT_THAT(TraceOf().Fires({9, 9}).Shapes().others,
              ElementsAre(ArrayShape(1, 2, 5), ArrayShape(1, 5, 2), ArrayShape(1, 10, 1),
                          ArrayShape(2, 1, 5), ArrayShape(2, 5, 1), ArrayShape(5, 1, 2),
                          ArrayShape(5, 2, 1), ArrayShape(10, 1, 1)));
  EXPECT_THAT(TraceOf().Fires({0, 0}).Shapes().others, IsEmpty());
}

TEST(FittingShapesTest, SwitchesTellTheClusters) {
  TraceOf trace;
  trace.Fires({31, 31});
  for (uint32_t column = 4; column < 32; column += 8) {
    for (uint32_t row = 4; row < 32; row += 8) {
      trace.Switches({column, row});
    }
  }
  const FittingShapes fitting = trace.Shapes();
  EXPECT_EQ(ArrayShape(4, 2, 4), fitting.view);
  // The other half of the switches may be silent, but elements are not grouped in sixteens.
  EXPECT_THAT(fitting.others, Contains(ArrayShape(4, 1, 8)));
  EXPECT_THAT(fitting.others, Contains(ArrayShape(8, 2, 2)));
  EXPECT_THAT(fitting.others, Not(Contains(ArrayShape(2, 2, 8))));
}

TEST(FittingShapesTest, ARouterPerNodeIsAClusterOfOneElement) {
  TraceOf trace;
  trace.Fires({9, 9});
  for (uint32_t i = 0; i < 10; ++i) {
    trace.Switches({4 + i, 13 - i});
  }
  EXPECT_EQ(ArrayShape(10, 1, 1), trace.View());
}

TEST(FittingShapesTest, ClustersAreNoLargerThanTheDistanceOfSwitchesWhateverItIs) {
  EXPECT_EQ(ArrayShape(2, 1, 3), TraceOf().Fires({5, 5}).Switches({4, 4}).Switches({7, 4}).View());
  EXPECT_EQ(ArrayShape(3, 1, 3), TraceOf().Fires({0, 0}).Switches({4, 4}).Switches({7, 10}).View());
}

TEST(FittingShapesTest, ASingleSwitchTellsNoSideOfItsCluster) {
  EXPECT_EQ(ArrayShape(1, 2, 5), TraceOf().Fires({9, 3}).Switches({4, 4}).View());
  EXPECT_EQ(ArrayShape(1, 1, 9), TraceOf().Fires({8, 3}).Switches({4, 4}).View());
}

TEST(FittingShapesTest, OneFarEndOfAMessageChangesNothing) {
  const FittingShapes fitting =
      TraceOf().Fires({9, 9}).Sends({0, 0}, {4294967295, 4294967295}).Shapes();
  EXPECT_EQ(ArrayShape(1, 1, 10), fitting.view);
  EXPECT_TRUE(fitting.endsOutside);
  EXPECT_EQ(NONE, fitting.withEnds);
}

TEST(FittingShapesTest, EndsOfMessagesThatAnArrayCanHoldAreToldBesides) {
  const FittingShapes fitting = TraceOf().Fires({9, 9}).Sends({0, 0}, {10, 3}).Shapes();
  EXPECT_EQ(ArrayShape(1, 1, 10), fitting.view);
  EXPECT_TRUE(fitting.endsOutside);
  EXPECT_EQ(ArrayShape(1, 1, 11), fitting.withEnds);
  EXPECT_FALSE(TraceOf().Fires({9, 9}).Sends({9, 9}, {0, 3}).Shapes().endsOutside);
}

TEST(FittingShapesTest, WhereNothingElseHappenedMessagesTellTheArray) {
  EXPECT_EQ(ArrayShape(1, 1, 8), TraceOf().Sends({7, 0}, {0, 3}).View());
  const FittingShapes far = TraceOf().Sends({7, 0}, {0, 5000}).Shapes();
  EXPECT_EQ(ArrayShape(1, 1, 1), far.view);
  EXPECT_TRUE(far.endsOutside);
}

TEST(FittingShapesTest, ARectangleTakesNoMoreRowsThanColumnsAsk) {
  const FittingShapes flat = TraceOf().Fires({9, 3}).Shapes();
  EXPECT_EQ(ArrayShape(1, 1, 10), flat.view);
  EXPECT_EQ(ArrayShape({1, 1}, {1, 1}, {10, 4}), flat.rectangle);
  const FittingShapes clustered =
      TraceOf().Fires({9, 17}).Switches({4, 4}).Switches({12, 4}).Shapes();
  EXPECT_EQ(ArrayShape(3, 2, 4), clustered.view);
  EXPECT_EQ(ArrayShape({2, 3}, {2, 2}, {4, 4}), clustered.rectangle);
}

TEST(FittingShapesTest, WhatNoArrayHoldsIsToldByNothing) {
  for (const FittingShapes& fitting :
       {TraceOf().Switches({3, 4}).Shapes(), TraceOf().Switches({4, 3}).Shapes(),
        TraceOf().Fires({4096, 0}).Shapes(), TraceOf().Fires({0, 4294967295}).Shapes(),
        TraceOf().Switches({4, 4}).Switches({4100, 4}).Shapes()}) {
    EXPECT_EQ(NONE, fitting.view);
    EXPECT_EQ(NONE, fitting.rectangle);
    EXPECT_THAT(fitting.others, IsEmpty());
    EXPECT_FALSE(fitting.endsOutside);
  }
  TraceOf many;
  many.Switches({4, 4}).summary.switchesComplete = false;
  EXPECT_EQ(NONE, many.View());
}

TEST(FittingShapesTest, AnArrayHoldsATraceWhereItHasEveryElementAndSwitchOfIt) {
  TraceOf trace;
  trace.Fires({15, 7}).Switches({4, 4}).Switches({12, 4}).Sends({0, 0}, {99, 99});
  EXPECT_TRUE(HoldsTrace(ArrayShape({2, 1}, {1, 1}, {8, 8}), trace.summary));
  EXPECT_FALSE(HoldsTrace(ArrayShape({2, 1}, {1, 1}, {8, 7}), trace.summary));
  EXPECT_FALSE(HoldsTrace(ArrayShape({1, 1}, {1, 1}, {16, 8}), trace.summary));
  trace.summary.switchesComplete = false;
  EXPECT_FALSE(HoldsTrace(ArrayShape({2, 1}, {1, 1}, {8, 8}), trace.summary));
}

// What any array wrote is held by every shape that is told.
TEST(FittingShapesTest, ASquareIsFilledUpToWhereThatMovesNothing) {
  EXPECT_EQ(ArrayShape(3, 2, 4), SquareOf(ArrayShape(3, 2, 4)));
  EXPECT_EQ(ArrayShape(3, 2, 4), SquareOf(ArrayShape({3, 2}, {2, 2}, {4, 4})));
  EXPECT_EQ(ArrayShape(3, 2, 4), SquareOf(ArrayShape({1, 3}, {2, 2}, {4, 4})));
  EXPECT_EQ(ArrayShape(1, 3, 4), SquareOf(ArrayShape({1, 1}, {3, 1}, {4, 4})));
  EXPECT_EQ(ArrayShape(1, 1, 12), SquareOf(ArrayShape({1, 1}, {1, 1}, {10, 12})));
  EXPECT_FALSE(SquareOf(ArrayShape({2, 2}, {1, 1}, {4, 8})));
  EXPECT_FALSE(SquareOf(ArrayShape({2, 1}, {1, 1}, {4, 8})));
  EXPECT_FALSE(SquareOf(ArrayShape({2, 2}, {2, 1}, {4, 4})));
  EXPECT_FALSE(SquareOf(ArrayShape({1, 1}, {2, 2}, {4, 5})));
  EXPECT_FALSE(SquareOf(ArrayShape({1, 1}, {2, 1}, {4, 5})));
  EXPECT_FALSE(SquareOf(ArrayShape({1, 1}, {1, 1}, {1, 4097})));
}

TEST(FittingShapesTest, EveryShapeHoldsWhatHappened) {
  std::mt19937 random(7);
  const auto below = [&](uint32_t end) { return static_cast<uint32_t>(random() % end); };
  for (int round = 0; round < 300; ++round) {
    const ArrayShape shape(1 + below(6), 1 + below(3), 1 + below(5));
    TraceOf trace;
    for (uint32_t i = below(20); i > 0; --i) {
      trace.Fires(shape.ElementAt(below(static_cast<uint32_t>(shape.Elements()))));
    }
    for (uint32_t i = below(6); i > 0; --i) {
      trace.Switches(shape.SwitchAt(below(static_cast<uint32_t>(shape.Switches()))));
    }
    const FittingShapes fitting = trace.Shapes();
    ASSERT_TRUE(fitting.view) << "round " << round;
    EXPECT_TRUE(fitting.view->IsDrawable());
    EXPECT_TRUE(HoldsTrace(*fitting.view, trace.summary)) << "round " << round;
    for (const ArrayShape& other : fitting.others) {
      EXPECT_TRUE(other.IsDrawable());
      EXPECT_TRUE(HoldsTrace(other, trace.summary)) << "round " << round;
      EXPECT_LE(other.Elements(), fitting.view->Elements());
    }
    if (fitting.rectangle) {
      EXPECT_TRUE(HoldsTrace(*fitting.rectangle, trace.summary)) << "round " << round;
      EXPECT_LT(fitting.rectangle->Elements(), fitting.view->Elements());
    }
  }
}

}  // namespace
}  // namespace marrowfin
