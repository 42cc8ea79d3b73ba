#include "render/plot/HistogramPlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <string>
#include <vector>

#include "render/plot/HistogramOfRun.h"
#include "tests/render/plot/Pictures.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class HistogramPlotTest : public ::testing::Test {
 protected:
  HistogramPlotTest()
      : counted(Encode({{FIRE_RECORD, 0, 0, {0, 0}, {}},
                        {FIRE_RECORD, 1, 0, {0, 0}, {}},
                        {SEND_RECORD, 2, 0, {0, 0}, {2, 1}},
                        {FIRE_RECORD, 999, 0, {1, 0}, {}}}),
                {1, 1, 4}),
        packets(PacketCounts::Windows(0, 999)) {}

  void Packets(uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
      const Place from = {static_cast<uint32_t>(i % 4), 0};
      const Place to = {static_cast<uint32_t>(i % 3), static_cast<uint32_t>(i % 5 % 4)};
      packets.Add(i, i % 900, PacketRole::ENTRY, std::nullopt, from);
      packets.Add(i, i % 900 + 8 + i * i % 61, PacketRole::EXIT, std::nullopt, to);
    }
    counted.run.packets = &packets;
  }

  Plot Of(HistogramOf of) const { return PlotHistogram(counted.run, {{of, "", nullptr}}); }

  Plot OfAttribute(const AttributeValues& values) const {
    return PlotHistogram(counted.run, {{HistogramOf::ATTRIBUTE, "size", &values}});
  }

  CountedTrace counted;
  PacketCounts packets;
};

TEST_F(HistogramPlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  Packets(1000);
  const std::vector<HistogramWish> wishes = {{HistogramOf::DISTANCE, "", nullptr},
                                             {HistogramOf::LATENCY, "", nullptr}};
  const PlotStyle wide = StyleOf(PlotFormat::PNG, PlotStyle::WIDE);
  const std::string two = BytesOf(PlotHistogram(counted.run, wishes), wide);
  ExpectKeptPicture("histogram.png", two);
  AttributeValues kinds;
  kinds.type = NoteType::NAME;
  kinds.names = {{0, "head"}, {1, "body"}};
  kinds.counts.Add(0, 10);
  kinds.counts.Add(1, 30);
  kinds.counts.Add(7, 5);
  const PlotStyle dark = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN, Theme::Dark());
  ExpectKeptPicture("histogram-dark.png", BytesOf(OfAttribute(kinds), dark));
  packets.Add(5000, 1, PacketRole::ENTRY, std::nullopt, {0, 0});
  packets.Add(5000, 400, PacketRole::EXIT, std::nullopt, {0, 0});
  EXPECT_NE(two, BytesOf(PlotHistogram(counted.run, wishes), wide));
}

TEST_F(HistogramPlotTest, TheSamePlotHasTheSameBytesAlsoTheSecondTime) {
  Packets(200);
  for (const PlotFormat format : {PlotFormat::PNG, PlotFormat::SVG, PlotFormat::PDF}) {
    const PlotStyle style = StyleOf(format, PlotStyle::WIDE);
    EXPECT_EQ(BytesOf(Of(HistogramOf::LATENCY), style), BytesOf(Of(HistogramOf::LATENCY), style));
    EXPECT_NE(BytesOf(Of(HistogramOf::LATENCY), style), BytesOf(Of(HistogramOf::DISTANCE), style));
  }
}

TEST_F(HistogramPlotTest, WordsTellMeanPercentilesAndWhatIsCounted) {
  Packets(1000);
  const Plot plot = PlotHistogram(
      counted.run, {{HistogramOf::DISTANCE, "", nullptr}, {HistogramOf::LATENCY, "", nullptr}});
  EXPECT_EQ(plot.words.title, "Distance and latency of packets");
  EXPECT_THAT(plot.words.finding, StartsWith("1,000 packets: distance mean "));
  EXPECT_THAT(plot.words.finding, HasSubstr("; latency mean "));
  EXPECT_THAT(plot.words.caption, HasSubstr("latency: injection to ejection"));
  EXPECT_THAT(plot.words.caption, HasSubstr("nearest-rank percentiles · 0 packets never ejected"));
  const Plot fires = Of(HistogramOf::FIRES);
  EXPECT_EQ(fires.words.title, "Fires of each PE");
  EXPECT_EQ(fires.words.finding, "16 PEs: mean 0.188 fires, largest 2");
  EXPECT_THAT(fires.words.caption, HasSubstr("fewer than 20 values have no percentiles"));
  EXPECT_THAT(fires.words.caption, Not(HasSubstr("never ejected")));
}

TEST_F(HistogramPlotTest, WithoutPacketsTheDistanceIsThatOfMessages) {
  const Plot plot = Of(HistogramOf::DISTANCE);
  EXPECT_EQ(plot.words.title, "Distance of messages");
  EXPECT_EQ(plot.words.finding, "1 message: distance mean 3 links, largest 3");
}

TEST_F(HistogramPlotTest, NothingToShowIsAnEmptyPlotThatSaysSo) {
  counted.run.packets = &packets;
  const Plot plot = PlotHistogram(
      counted.run, {{HistogramOf::HOPS, "", nullptr}, {HistogramOf::LATENCY, "", nullptr}});
  EXPECT_EQ(plot.words.finding,
            "no packet with hops in cycles 0 to 999; no packet with latency in cycles 0 to 999");
  EXPECT_THAT(BytesOf(plot, StyleOf(PlotFormat::PNG, PlotStyle::WIDE)), StartsWith("\x89PNG"));
  EXPECT_THAT(BytesOf(OfAttribute({}), StyleOf(PlotFormat::PNG, 240)), StartsWith("\x89PNG"));
}

TEST_F(HistogramPlotTest, AttributesOfAllTypesAreTold) {
  AttributeValues values;
  values.unit = "flits";
  values.without = 3;
  for (uint64_t i = 0; i < 150; ++i) {
    values.counts.Add(i % 7);
  }
  Plot plot = OfAttribute(values);
  EXPECT_EQ(plot.words.title, "Size of events");
  EXPECT_EQ(plot.words.finding,
            "150 events: size mean 2.96 flits, median 3, 99 % within 6, largest 6");
  EXPECT_THAT(plot.words.caption, HasSubstr("3 events without size not counted"));
  AttributeValues reals;
  reals.type = NoteType::REAL;
  for (int i = 0; i < 150; ++i) {
    reals.counts.Add(RealKey(-0.5 + i / 150.0));
  }
  plot = OfAttribute(reals);
  EXPECT_THAT(plot.words.finding,
              HasSubstr("size mean −0.00333, median −0.00667, 99 % within 0.487"));
  AttributeValues names;
  names.type = NoteType::NAME;
  names.names = {{1, "wait"}};
  names.counts.Add(1, 9);
  names.counts.Add(2, 1);
  plot = OfAttribute(names);
  EXPECT_EQ(plot.words.finding, "10 events: most have size wait, 90 %");
  const NumberTable bars = plot.numbers().tables[0];
  EXPECT_THAT(bars.columns, ElementsAre("distribution", "from", "to", "name", "count", "share"));
  ASSERT_EQ(bars.Rows(), 2U);
  EXPECT_EQ(bars.cells[3], NumberCell("wait"));
  EXPECT_EQ(bars.cells[9], NumberCell("2")) << "a value that has no name";
}

TEST_F(HistogramPlotTest, BarsFillThePlotHoweverNarrowTheyAre) {
  const auto bars = [&](double unit) {
    AttributeValues reals;
    reals.type = NoteType::REAL;
    for (int i = 0; i <= 100; ++i) {
      reals.counts.Add(RealKey(i * unit));
    }
    const PngPixels pixels(BytesOf(OfAttribute(reals), StyleOf(PlotFormat::PNG, 240)));
    return pixels.Count(Theme::Light().categories[0]);
  };
  const size_t large = bars(1);
  EXPECT_GT(large, 10000U);
  EXPECT_GT(bars(0.0001), large / 2);
}

TEST_F(HistogramPlotTest, NumbersOfBarsAddUpToAllValues) {
  Packets(777);
  const PlotNumbers numbers = Of(HistogramOf::LATENCY).numbers();
  const NumberTable& bars = numbers.tables[0];
  uint64_t sum = 0;
  double shares = 0;
  for (size_t row = 0; row < bars.Rows(); ++row) {
    sum += std::get<uint64_t>(bars.cells[row * 6 + 4]);
    shares += std::get<double>(bars.cells[row * 6 + 5]);
  }
  EXPECT_EQ(sum, 777U);
  EXPECT_NEAR(shares, 1, 1e-9);
  EXPECT_EQ(numbers.tables[1].Rows(), 1U);
}

TEST_F(HistogramPlotTest, BarsAreAsHighAsTheirShares) {
  AttributeValues values;
  // Too few for percentiles, whose lines would stand before the bars.
  values.counts.Add(0, 5);
  values.counts.Add(1, 10);
  PlotStyle style = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN);
  style.title = style.caption = false;
  const PngPixels pixels(BytesOf(OfAttribute(values), style));
  const Color bar = style.theme->categories[0];
  size_t left = 0;
  size_t right = 0;
  for (int y = 0; y < pixels.Height(); ++y) {
    for (int x = 0; x < pixels.Width(); ++x) {
      if (pixels.At(x, y) == bar) {
        ++(x < pixels.Width() * 0.55 ? left : right);
      }
    }
  }
  EXPECT_GT(left, 1000U);
  EXPECT_NEAR(static_cast<double>(right) / static_cast<double>(left), 2, 0.05);
}

TEST_F(HistogramPlotTest, AnyTextAndSizeMakesAPictureOrIsRefused) {
  Packets(300);
  for (const double text : {0.5, 1.0, 2.0, 4.0}) {
    for (const double width : {60.0, 240.0, 504.0}) {
      for (const double height : {0.0, 60.0}) {
        PlotStyle style = StyleOf(PlotFormat::SVG, width);
        style.height = height;
        style.text = text;
        const Plot plot = PlotHistogram(counted.run, {{HistogramOf::DISTANCE, "", nullptr},
                                                      {HistogramOf::LATENCY, "", nullptr}});
        const auto page = DrawPage(plot.words, *plot.body, style);
        EXPECT_TRUE(page || page.Why().kind == Fault::SYSTEM);
      }
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
