#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "render/plot/ArrayGrid.h"
#include "render/plot/Axis.h"
#include "render/plot/HeatPlot.h"
#include "render/plot/Page.h"
#include "render/plot/ScaleBar.h"
#include "render/plot/SvgNames.h"
#include "render/plot/TimelinePlot.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;

std::vector<std::string> Labels(const std::vector<Tick>& ticks) {
  std::vector<std::string> labels;
  for (const Tick& tick : ticks) {
    labels.push_back(tick.label);
  }
  return labels;
}

TEST(AxisTest, TicksAreRoundAndHaveEquallyManyDigits) {
  EXPECT_THAT(Labels(LinearTicks(0, 1972, 4)), ElementsAre("0", "500", "1,000", "1,500"));
  EXPECT_THAT(Labels(LinearTicks(0, 1.13, 4)), ElementsAre("0.0", "0.5", "1.0"));
  EXPECT_THAT(Labels(LinearTicks(0, 0.012, 4)), ElementsAre("0.000", "0.005", "0.010"));
  EXPECT_THAT(Labels(LinearTicks(1000, 1010, 5)),
              ElementsAre("1,000", "1,002", "1,004", "1,006", "1,008", "1,010"));
  EXPECT_THAT(Labels(LinearTicks(5, 5, 4)), ElementsAre("5"));
  EXPECT_THAT(Labels(LinearTicks(-10, 10, 4)), ElementsAre("−10", "−5", "0", "5", "10"));
  EXPECT_THAT(Labels(LinearTicks(-1, 1, 4)), ElementsAre("−1.0", "−0.5", "0.0", "0.5", "1.0"));
  EXPECT_THAT(Labels(LinearTicks(0, 2e-12, 2)), ElementsAre("0", "1e-12", "2e-12"));
  EXPECT_THAT(Labels(LinearTicks(0, 2e200, 2)), ElementsAre("0", "1e+200", "2e+200"));
}

TEST(AxisTest, TicksEndWhereNumbersAreTooLargeForTheirSteps) {
  for (const double low : {9007199254740993.0, 1e18, 1e300}) {
    const double high = std::nextafter(low, INFINITY);
    const std::vector<Tick> ticks = LinearTicks(low, high, 6);
    EXPECT_LE(ticks.size(), 14U);
    for (size_t i = 1; i < ticks.size(); ++i) {
      EXPECT_LT(ticks[i - 1].value, ticks[i].value);
    }
  }
}

TEST(AxisTest, CyclesHaveTicksThatAreExactHoweverHighTheyAre) {
  constexpr uint64_t END = ~uint64_t{0};
  EXPECT_THAT(Labels(CycleTicks(100, 100, size_t{6})), ElementsAre("100", "101"));
  EXPECT_THAT(Labels(CycleTicks(0, 1971, size_t{4})), ElementsAre("0", "500", "1,000", "1,500"));
  EXPECT_THAT(Labels(CycleTicks(0, 1999, size_t{4})),
              ElementsAre("0", "500", "1,000", "1,500", "2,000"));
  EXPECT_THAT(Labels(CycleTicks(3, 3, size_t{4})), ElementsAre("3", "4"));
  EXPECT_THAT(Labels(CycleTicks(7, 998, size_t{2})), ElementsAre("500"));
  EXPECT_THAT(Labels(CycleTicks(7, 999, size_t{2})), ElementsAre("500", "1,000"));
  EXPECT_THAT(Labels(CycleTicks(1001, 1004, size_t{1})), ElementsAre("1,005"));
  EXPECT_THAT(Labels(CycleTicks(END - 299, END, size_t{2})),
              ElementsAre("18,446,744,073,709,551,400", "18,446,744,073,709,551,600"));
  EXPECT_THAT(Labels(CycleTicks(END, END, size_t{3})), ElementsAre("18,446,744,073,709,551,615"));
  EXPECT_EQ(CycleTicks(END - 299, END, size_t{2})[1].value, 284);
  EXPECT_THAT(Labels(CycleTicks(0, END, size_t{2})),
              ElementsAre("0", "10,000,000,000,000,000,000"));
  const CycleScale scale = {END - 3, END, 100, 140};
  EXPECT_EQ(scale.At(END - 3), 100);
  EXPECT_EQ(scale.At(END - 2), 110);
  EXPECT_EQ(scale.At(END, 0.5), 135);
  EXPECT_EQ(scale.At(END, 1), 140);
}

TEST(AxisTest, ScalesMapEndsToEnds) {
  const Scale linear = {10, 20, 100, 0};
  EXPECT_DOUBLE_EQ(linear.At(10), 100);
  EXPECT_DOUBLE_EQ(linear.At(15), 50);
}

TEST(PageTest, TextBreaksBetweenWordsWhereTheLineIsFull) {
  const std::string text = "one two three";
  const double two = TextWidth("one two", Weight::REGULAR, 10);
  EXPECT_THAT(WrapText(text, Weight::REGULAR, 10, two), ElementsAre("one two", "three"));
  EXPECT_THAT(WrapText(text, Weight::REGULAR, 10, two - 0.1), ElementsAre("one", "two", "three"));
  EXPECT_THAT(WrapText(text, Weight::REGULAR, 10, 1), ElementsAre("one", "two", "three"));
  EXPECT_THAT(WrapText("", Weight::REGULAR, 10, 100), ElementsAre());
}

TEST(PageTest, DotsEndLinesAndProductsAreNotBroken) {
  EXPECT_THAT(WrapText("all · 4 × 4 PEs · 90 % end", Weight::REGULAR, 10, 1),
              ElementsAre("all ·", "4 × 4", "PEs ·", "90 %", "end"));
}

TEST(FontsTest, WidthsAreThoseOfTheFontWithoutRounding) {
  EXPECT_DOUBLE_EQ(TextWidth("mm", Weight::REGULAR, 10), 2 * TextWidth("m", Weight::REGULAR, 10));
  EXPECT_NEAR(TextWidth("0", Weight::REGULAR, 1000), 636.2, 0.1) << "1303 of 2048 units";
  EXPECT_GT(TextWidth("0", Weight::BOLD, 10), TextWidth("0", Weight::REGULAR, 10));
  EXPECT_GT(TextWidth("×−·√", Weight::REGULAR, 10), 20);
}

TEST(SvgNamesTest, PartsAreNumberedInOrderUnderTheirPicturesName) {
  const std::string svg =
      "<g id=\"glyph0-1\"/><clip id=\"clip7\"/><use xlink:href=\"#glyph0-1\" "
      "clip=\"url(#clip7)\" other=\"#clip7\"/><a href=\"#none\"/>";
  EXPECT_EQ(RenameSvgParts(svg, "heat"),
            "<g id=\"heat-1\"/><clip id=\"heat-2\"/><use xlink:href=\"#heat-1\" "
            "clip=\"url(#heat-2)\" other=\"#clip7\"/><a href=\"#none\"/>");
  EXPECT_EQ(RenameSvgParts("", "x"), "");
}

HeatMap MapOf(std::vector<double> values) {
  HeatMap map;
  map.shape = {1, 1, 2};
  map.values = std::move(values);
  return map;
}

TEST(HeatScaleTest, TheScaleEndsAtTheLargestValueUnlessThatStandsOut) {
  HeatScale scale = ScaleOf(MapOf({0, 10, 12, 14}));
  EXPECT_EQ(scale.end, 14);
  EXPECT_FALSE(scale.clipped);
  HeatMap map = MapOf(std::vector<double>(1000, 10));
  map.values[500] = 16;
  map.values[7] = 0;
  scale = ScaleOf(map);
  EXPECT_EQ(scale.end, 10);
  EXPECT_TRUE(scale.clipped);
  EXPECT_EQ(scale.above, 1U);
  map.values[500] = 15;
  EXPECT_EQ(ScaleOf(map).end, 15);
  map.scaleMax = 40;
  EXPECT_EQ(ScaleOf(map).end, 40);
  EXPECT_EQ(ScaleOf(MapOf({0, 0, 0, 0})).end, 1);
  map.values.assign(map.values.size(), 0);
  EXPECT_EQ(ScaleOf(map).end, 40) << "two pictures have one scale, also where nothing happened";
}

TEST(HeatScaleTest, TheCaptionSaysWhereTheScaleEnds) {
  HeatMap map = MapOf({0, 10, 12, 14});
  EXPECT_EQ(ClippingText(ScaleOf(map), "0 PEs"), "scale 0 to largest, nothing clipped");
  map.scaleMax = 14;
  EXPECT_EQ(ClippingText(ScaleOf(map), "0 PEs"), "scale 0 to largest, nothing clipped");
  map.scaleMax = 40;
  EXPECT_EQ(ClippingText(ScaleOf(map), "0 PEs"), "scale 0 to 40, nothing clipped");
  map.scaleMax = 12;
  EXPECT_EQ(ClippingText(ScaleOf(map), "1 PE"), "1 PE above 12 takes the last colour");
  map.scaleMax = 11;
  EXPECT_EQ(ClippingText(ScaleOf(map), "2 PEs"), "2 PEs above 11 take the last colour");
}

TEST(HeatScaleTest, ValuesFarBeyondTheEndTakeTheLastStep) {
  HeatMap map = MapOf({1, 0, 0, 0});
  map.scaleMax = 1e-300;
  EXPECT_EQ(ScaleOf(map).StepOf(1), 15U);
  EXPECT_EQ(ScaleOf(map).above, 1U);
  EXPECT_EQ(ScaleOf(MapOf({0, 0, 0, 0})).above, 0U);
  EXPECT_FALSE(ScaleOf(MapOf({0, 0, 0, 0})).clipped);
}

TEST(HeatScaleTest, UnitsThatWereNotAskedForAreOnNoScale) {
  HeatMap map = MapOf({4, 9, 0, 2});
  map.units = {0, 3};
  EXPECT_EQ(ScaleOf(map).end, 4);
  EXPECT_THAT(AskedValues(map), ElementsAre(4, 2));
}

TEST(CanvasTest, ATextThatIsNoUtf8IsShownWithWhatIsMissingAndHidesNothing) {
  const auto draw = [](const std::string& text) {
    Result<std::unique_ptr<Canvas>> canvas = Canvas::Open(PlotFormat::PNG, 60, 20, 2);
    (*canvas)->Text(text, {2, 8}, Align::LEFT, 6, {0, 0, 255});
    (*canvas)->TextOn({255, 255, 255}, text, {30, 8}, Align::CENTRE, 6, {0, 0, 255});
    (*canvas)->Fill({0, 10, 60, 10}, {255, 0, 0});
    MemorySink sink;
    EXPECT_FALSE((*canvas)->Write(sink, "p"));
    return std::string(sink.Bytes().begin(), sink.Bytes().end());
  };
  EXPECT_EQ(draw("a\xff"), draw("a\xEF\xBF\xBD"));
  EXPECT_NE(draw("a\xff"), draw("a"));
  EXPECT_EQ(TextWidth("\xff", Weight::BOLD, 6), TextWidth("\xEF\xBF\xBD", Weight::BOLD, 6));
}

TEST(HeatScaleTest, SixteenEqualStepsBeginAtZero) {
  const HeatScale scale = ScaleOf(MapOf({0, 0, 0, 32}));
  EXPECT_EQ(scale.StepOf(0), 0U);
  EXPECT_EQ(scale.StepOf(1.99), 0U);
  EXPECT_EQ(scale.StepOf(2), 1U);
  EXPECT_EQ(scale.StepOf(31.9), 15U);
  EXPECT_EQ(scale.StepOf(32), 15U);
  EXPECT_EQ(scale.StepOf(1000), 15U);
}

TEST(LevelForTest, UnitsAreDrawnThatHaveTwoPixels) {
  EXPECT_EQ(LevelFor({16, 4, 4}, 160, 4), Level::PE);
  EXPECT_EQ(LevelFor({16, 4, 8}, 160, 4), Level::DOMAIN);
  EXPECT_EQ(LevelFor({64, 8, 8}, 160, 4), Level::CLUSTER);
}

TEST(TimelineLayersTest, ElevenThreadsAndOthersStandForMany) {
  Timeline times(TimeColumns::AtMost(0, 2, 400));
  for (uint32_t thread = 0; thread < 14; ++thread) {
    // Thread 2, 5 and 9 have least.
    for (uint32_t i = 0; i < (thread == 2 || thread == 5 || thread == 9 ? 1U : 3U); ++i) {
      times.Add(FIRE_RECORD, i, thread);
    }
  }
  const std::vector<TimelineLayer> layers = LayersByThread(times);
  ASSERT_EQ(layers.size(), 12U);
  EXPECT_EQ(layers[0].name, "0");
  EXPECT_EQ(layers[2].name, "3");
  EXPECT_EQ(layers[11].name, "others");
  EXPECT_THAT(layers[11].counts, ElementsAre(3, 0, 0));
}

// A plot that wants 90 points for its words.
class TallWords : public PlotBody {
 public:
  Margins GetMargins(const PlotStyle& /*style*/) const override { return {}; }
  double HeightFor(double /*width*/, const PlotStyle& /*style*/) const override { return 30; }
  double LeastHeight(double /*width*/, const PlotStyle& /*style*/) const override { return 90; }
  void Draw(Canvas& /*canvas*/, const Box& /*area*/, const PlotStyle& /*style*/) const override {}
};

TEST(PageTest, AHeightInWhichWordsWouldLieOverEachOtherIsRefused) {
  PlotStyle style;
  style.title = style.caption = false;
  EXPECT_TRUE(DrawPage({}, TallWords(), style)) << "a plot chooses its own height";
  const double around = 41;  // above and below the plot
  style.height = around + 91;
  EXPECT_TRUE(DrawPage({}, TallWords(), style));
  style.height = around + 89;
  const auto refused = DrawPage({}, TallWords(), style);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.Why().reason, "the page has no room for the plot");
}

// A plot with so much beside it that it is `width` wide on a page of the usual width, and as high.
class SmallPlot : public PlotBody {
 public:
  explicit SmallPlot(double width, double height) : width(width), height(height) {}

  Margins GetMargins(const PlotStyle& style) const override { return {style.width - width, 0, 0}; }
  double HeightFor(double /*width*/, const PlotStyle& /*style*/) const override { return height; }
  void Draw(Canvas& /*canvas*/, const Box& /*area*/, const PlotStyle& /*style*/) const override {}

 private:
  double width;
  double height;
};

TEST(PageTest, APlotOfLessThanTwentyPointsIsNone) {
  PlotStyle style;
  style.title = style.caption = false;
  EXPECT_TRUE(DrawPage({}, SmallPlot(20, 20), style));
  EXPECT_FALSE(DrawPage({}, SmallPlot(19.5, 20), style));
  EXPECT_FALSE(DrawPage({}, SmallPlot(20, 19.5), style));
}

TEST(TimelinePlotTest, IsFlatButHighEnoughForItsWords) {
  const TimelinePlot plot(TimeColumns{0, 9, 1}, {{"fires", std::vector<uint64_t>(10)}},
                          std::nullopt, "", "");
  PlotStyle style;
  EXPECT_DOUBLE_EQ(280, plot.HeightFor(1000, style));
  EXPECT_DOUBLE_EQ(90, plot.HeightFor(100, style));
  style.text = 2;
  EXPECT_DOUBLE_EQ(180, plot.HeightFor(100, style));
}

}  // namespace
}  // namespace marrowfin::testing
