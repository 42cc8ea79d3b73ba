#include "render/plot/SpaceTimePlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "measure/CountSpaceTime.h"
#include "render/plot/SpaceTimeOfRun.h"
#include "tests/render/plot/Pictures.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const ArrayShape shape = {{2, 2}, {2, 1}, {2, 2}};  // 8 columns, 4 rows

// Cluster by cluster work begins; thread 1 has the first one to itself, the others share.
std::vector<Event> WaveEvents() {
  std::vector<Event> events;
  for (uint64_t cycle = 0; cycle < 600; ++cycle) {
    for (uint32_t i = 0; i < 32; ++i) {
      const Place at = shape.ElementAt(i);
      const Place cluster = shape.ClusterOf(at);
      const uint32_t number = cluster.row * 2 + cluster.column;
      if (cycle >= number * 120 && cycle < 550 && (cycle + i * 3) % (3 + number * 2) == 0) {
        events.push_back({FIRE_RECORD, cycle, number == 0 ? 1 : 1 + i % 3, at, {}});
      }
    }
    events.push_back({SWITCH_RECORD, cycle, 0, {4, 4}, {}});
  }
  return events;
}

class SpaceTimePlotTest : public ::testing::Test {
 protected:
  explicit SpaceTimePlotTest(const std::vector<Event>& events = WaveEvents(),
                             const ArrayShape& array = shape)
      : counted(Encode(events), array) {}

  SpaceTime Map(bool byThread, const EventFilter& filter = {}) const {
    SpaceTimeQuestion question;
    question.shape = counted.counts->Places().Shape();
    question.byThread = byThread;
    question.filter = filter;
    Result<SpaceTime> map = CountSpaceTime(*counted.opened.trace, *counted.opened.index, question);
    EXPECT_TRUE(map) << map.Why().Text();
    return std::move(map).Take();
  }

  std::string Picture(const PlotStyle& style, bool byThread = false,
                      const EventFilter& filter = {}) const {
    return BytesOf(PlotSpaceTime(counted.run, Map(byThread, filter)), style);
  }

  CountedTrace counted;
};

TEST_F(SpaceTimePlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  const PlotStyle light = StyleOf(PlotFormat::PNG, PlotStyle::WIDE);
  ExpectKeptPicture("spacetime.png", Picture(light));
  const PlotStyle dark = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN, Theme::Dark());
  ExpectKeptPicture("spacetime-thread-dark.png", Picture(dark, true));
  // A picture of one event less is another one.
  EventFilter less;
  less.firstRecord = 1;
  EXPECT_NE(Picture(light), Picture(light, false, less));
}

TEST_F(SpaceTimePlotTest, TheSamePlotHasTheSameBytesAlsoTheSecondTime) {
  for (const PlotFormat format : {PlotFormat::PNG, PlotFormat::SVG, PlotFormat::PDF}) {
    const PlotStyle style = StyleOf(format, PlotStyle::WIDE);
    EXPECT_EQ(Picture(style), Picture(style));
    EXPECT_EQ(Picture(style, true), Picture(style, true));
    EXPECT_NE(Picture(style), Picture(style, true));
  }
  const std::string svg = Picture(StyleOf(PlotFormat::SVG, PlotStyle::WIDE));
  EXPECT_THAT(svg, HasSubstr("<image image-rendering=\"optimizeSpeed\" "
                             "style=\"image-rendering:pixelated\" id=\"plot-"));
}

// A thread for each of twelve rows of the array, always the same.
class ManyThreadsTest : public SpaceTimePlotTest {
 protected:
  ManyThreadsTest() : SpaceTimePlotTest(Events(), {{1, 1}, {1, 1}, {12, 12}}) {}

  static std::vector<Event> Events() {
    std::vector<Event> events;
    for (uint64_t cycle = 0; cycle < 100; ++cycle) {
      for (uint32_t i = 0; i < 144; ++i) {
        events.push_back({FIRE_RECORD, cycle, i / 12, {i % 12, i / 12}, {}});
      }
    }
    return events;
  }
};

TEST_F(ManyThreadsTest, ThreadsBehindTheSixthAreHatchedInTheMapAndBesideTheirNames) {
  const PlotStyle style = StyleOf(PlotFormat::PNG, PlotStyle::WIDE);
  const std::string png = Picture(style, true);
  const PngPixels picture(png);
  const Theme& theme = Theme::Light();
  // Each thread has as many cells; lines of the paper take a part of those that are hatched.
  std::vector<size_t> pixels;
  for (const Color& color : theme.categories) {
    pixels.push_back(picture.Count(color));
  }
  for (size_t slot = 0; slot < Theme::CATEGORIES; ++slot) {
    SCOPED_TRACE(slot);
    if (slot < Theme::PLAIN_CATEGORIES) {
      EXPECT_GT(pixels[slot] * 10, pixels[0] * 9);
    } else {
      EXPECT_GT(pixels[slot] * 10, pixels[0] * 2);
      EXPECT_LT(pixels[slot] * 10, pixels[0] * 9);
    }
  }
}

TEST_F(ManyThreadsTest, OnASlideTheirNamesStandInTwoColumns) {
  PlotStyle slide = StyleOf(PlotFormat::SVG, PlotStyle::WIDE);
  const Plot plot = PlotSpaceTime(counted.run, Map(true));
  const double tall = plot.body->LegendHeight(100, slide);
  slide.slide = true;
  EXPECT_LT(plot.body->LegendHeight(100, slide) / slide.LabelSize(), tall / 13 * 8);
}

TEST_F(SpaceTimePlotTest, TheScaleEndsAtARoundNumberBehindThe99And5Tenth) {
  std::vector<double> rates(1000, 0.1);
  rates[0] = rates[1] = 9;
  HeatScale scale = SpaceTimeScaleOf(rates);
  EXPECT_DOUBLE_EQ(scale.end, 0.1);
  EXPECT_EQ(scale.above, 2U);
  for (size_t i = 0; i < 10; ++i) {
    rates[i] = 0.163;
  }
  scale = SpaceTimeScaleOf(rates);
  EXPECT_DOUBLE_EQ(scale.end, 0.2);
  EXPECT_EQ(scale.above, 0U);
  EXPECT_DOUBLE_EQ(SpaceTimeScaleOf(rates, 3.0).end, 3);
  EXPECT_EQ(SpaceTimeScaleOf({}).above, 0U);
}

TEST_F(SpaceTimePlotTest, WordsTellWhoWorkedAndHowTheMapIsToBeRead) {
  const Plot plot = PlotSpaceTime(counted.run, Map(false));
  EXPECT_EQ(plot.words.title, "Where and when PEs fire");
  EXPECT_THAT(plot.words.finding, StartsWith("32 of 32 PEs fire, "));
  EXPECT_THAT(
      plot.words.caption,
      StartsWith("run.trace · cycles 0 to 599 (all) · 2 × 2 clusters of 2 × 1 domains of 2 × 2 "
                 "PEs · one row of the picture = 1 PE, one column = 2 cycles · up the "
                 "picture by cluster, domain, PE, each row by row from (0, 0)"));
  EXPECT_THAT(plot.words.caption, HasSubstr("the 99.5th percentile rounded up"));
  const Plot threads = PlotSpaceTime(counted.run, Map(true));
  EXPECT_EQ(threads.words.title, "Which thread fires where and when");
  EXPECT_THAT(threads.words.finding, StartsWith("thread 1 has "));
  EXPECT_THAT(threads.words.caption, Not(HasSubstr("scale")));
}

TEST_F(SpaceTimePlotTest, NumbersAreThoseOfTheCells) {
  const Plot plot = PlotSpaceTime(counted.run, Map(false));
  const PlotNumbers numbers = plot.numbers();
  const NumberTable& table = numbers.tables[0];
  ASSERT_EQ(table.columns,
            (std::vector<std::string>{"column", "row", "firstCycle", "cycles", "fires"}));
  uint64_t fires = 0;
  for (size_t row = 0; row < table.Rows(); ++row) {
    fires += std::get<uint64_t>(table.cells[row * 5 + 4]);
  }
  EXPECT_EQ(fires, counted.run.measures.fires);
  const PlotNumbers byThread = PlotSpaceTime(counted.run, Map(true)).numbers();
  EXPECT_EQ(byThread.tables[0].columns.size(), 7U);
  EXPECT_EQ(byThread.tables[0].cells.size(), byThread.tables[0].Rows() * 7);
}

TEST_F(SpaceTimePlotTest, ARangeWithoutFiresIsAnEmptyMapThatSaysSo) {
  EventFilter none;
  none.thread = 99;
  for (const bool byThread : {false, true}) {
    const Plot plot = PlotSpaceTime(counted.run, Map(byThread, none));
    EXPECT_EQ(plot.words.finding, "no fires in cycles 0 to 599");
    EXPECT_THAT(BytesOf(plot, StyleOf(PlotFormat::PNG, PlotStyle::WIDE)), StartsWith("\x89PNG"));
  }
}

TEST_F(SpaceTimePlotTest, AnyTextAndSizeMakesAPictureOrIsRefused) {
  for (const bool byThread : {false, true}) {
    const Plot plot = PlotSpaceTime(counted.run, Map(byThread));
    for (const double text : {0.5, 1.0, 2.0, 4.0}) {
      for (const double width : {60.0, 240.0, 504.0}) {
        for (const double height : {0.0, 60.0}) {
          PlotStyle style = StyleOf(PlotFormat::SVG, width);
          style.height = height;
          style.text = text;
          const auto page = DrawPage(plot.words, *plot.body, style);
          EXPECT_TRUE(page || page.Why().kind == Fault::SYSTEM);
        }
      }
    }
  }
}

// One element fires in every cycle, by two threads in turns, the one behind it in every other.
class TwoElementsTest : public SpaceTimePlotTest {
 protected:
  TwoElementsTest() : SpaceTimePlotTest(Events(), {1, 1, 4}) {}

  static std::vector<Event> Events() {
    std::vector<Event> events;
    for (uint64_t cycle = 0; cycle < 1000; ++cycle) {
      events.push_back({FIRE_RECORD, cycle, static_cast<uint32_t>(cycle % 2), {0, 0}, {}});
      if (cycle % 2 == 0) {
        events.push_back({FIRE_RECORD, cycle, 0, {1, 0}, {}});
      }
    }
    return events;
  }
};

TEST_F(TwoElementsTest, RowZeroIsBelowAndACellHasTheColourOfItsStep) {
  PlotStyle style = StyleOf(PlotFormat::PNG, 250);
  style.title = style.caption = false;
  const PngPixels pixels(Picture(style));
  // Two rows of sixteen: their colours are in the map and on the scale.
  const Color always = style.theme->sequence[15];
  const Color half = style.theme->sequence[8];
  int lowest = 0;
  int highest = pixels.Height();
  for (int y = 0; y < pixels.Height(); ++y) {
    if (pixels.Count(always, y, y + 1) > 300) {
      lowest = std::max(lowest, y);
    }
    if (pixels.Count(half, y, y + 1) > 300) {
      highest = std::min(highest, y);
    }
  }
  EXPECT_GT(lowest, highest) << "the element that comes later stands above";
  EXPECT_GT(lowest, pixels.Height() / 2);
  const size_t row = pixels.Count(always, lowest, lowest + 1);
  EXPECT_GT(row, 400U);
  EXPECT_EQ(pixels.Count(style.theme->sequence[3], lowest, lowest + 1), 0U);
}

TEST_F(TwoElementsTest, TheColourOfAThreadPalesWithTheShareOfOthers) {
  PlotStyle style = StyleOf(PlotFormat::PNG, 250);
  style.title = style.caption = false;
  const PngPixels pixels(Picture(style, true));
  const Theme& theme = *style.theme;
  EXPECT_GT(pixels.Count(theme.categories[0]), 2000U);
  // Two threads with as many fires: the lower one, half mixed with paper.
  EXPECT_GT(pixels.Count(Mixed(theme.paper, theme.categories[0], 0.5)), 2000U);
  EXPECT_EQ(pixels.Count(Mixed(theme.paper, theme.categories[1], 0.5)), 0U);
}

// One record, one cycle.
class OneFireTest : public SpaceTimePlotTest {
 protected:
  OneFireTest() : SpaceTimePlotTest({{FIRE_RECORD, 7, 0, {1, 1}, {}}}, {1, 2, 2}) {}
};

TEST_F(OneFireTest, OneCycleIsOneColumn) {
  const Plot plot = PlotSpaceTime(counted.run, Map(false));
  EXPECT_EQ(plot.words.finding, "1 of 16 PEs fire, 1 fires per cycle in all (6.25 % of PE-cycles)");
  EXPECT_THAT(plot.words.caption, HasSubstr("one column = 1 cycle"));
  EXPECT_THAT(BytesOf(plot, StyleOf(PlotFormat::PNG, 504)), StartsWith("\x89PNG"));
}

}  // namespace
}  // namespace marrowfin::testing
