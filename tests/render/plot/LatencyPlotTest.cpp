#include "render/plot/LatencyPlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "render/plot/LatencyOfRun.h"
#include "tests/render/plot/Pictures.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// A run of 2,000 cycles whose packets are counted by hand.
class LatencyPlotTest : public ::testing::Test {
 protected:
  LatencyPlotTest()
      : counted(Encode({{FIRE_RECORD, 0, 0, {0, 0}, {}}, {FIRE_RECORD, 1999, 0, {1, 0}, {}}}),
                {1, 1, 4}),
        packets(PacketCounts::Windows(0, 1999)) {
    counted.run.packets = &packets;
  }

  void Packet(uint64_t injected, uint64_t latency, uint64_t waited = 5) {
    const uint64_t number = next++;
    packets.Add(number, injected, PacketRole::ENTRY, injected >= waited ? injected - waited : 0);
    packets.Add(number, injected + latency, PacketRole::EXIT, std::nullopt);
  }

  // `packets` packets a window of a hundred cycles, slower from cycle 1,200 on.
  void Saturate(uint64_t perWindow) {
    for (uint64_t i = 0; i < 20 * perWindow; ++i) {
      const uint64_t cycle = i * 100 / perWindow;
      Packet(cycle, 12 + i * 7 % 23 + (cycle >= 1200 ? i * 31 % 400 : 0));
    }
  }

  CountedTrace counted;
  PacketCounts packets;
  uint64_t next = 0;
};

TEST_F(LatencyPlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  Saturate(120);
  // Some packets of the seventeenth window never arrive.
  for (uint64_t i = 0; i < 9; ++i) {
    packets.Add(1000000 + i, 1650, PacketRole::ENTRY, std::nullopt);
  }
  const PlotStyle light = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN);
  const std::string injection = BytesOf(PlotLatency(counted.run, LatencySince::INJECTION), light);
  ExpectKeptPicture("latency.png", injection);
  const PlotStyle dark = StyleOf(PlotFormat::PNG, PlotStyle::WIDE, Theme::Dark());
  ExpectKeptPicture("latency-dark.png",
                    BytesOf(PlotLatency(counted.run, LatencySince::CREATION), dark));
  Packet(1700, 2);  // faster than all others
  EXPECT_NE(injection, BytesOf(PlotLatency(counted.run, LatencySince::INJECTION), light));
}

TEST_F(LatencyPlotTest, TheSamePlotHasTheSameBytesAlsoTheSecondTime) {
  Saturate(120);
  for (const PlotFormat format : {PlotFormat::PNG, PlotFormat::SVG, PlotFormat::PDF}) {
    const PlotStyle style = StyleOf(format, PlotStyle::COLUMN);
    const std::string first = BytesOf(PlotLatency(counted.run, LatencySince::INJECTION), style);
    EXPECT_EQ(first, BytesOf(PlotLatency(counted.run, LatencySince::INJECTION), style));
    EXPECT_NE(first, BytesOf(PlotLatency(counted.run, LatencySince::CREATION), style));
  }
}

TEST_F(LatencyPlotTest, WordsTellPercentilesWindowsAndTheOnset) {
  Saturate(120);
  const Plot plot = PlotLatency(counted.run, LatencySince::INJECTION);
  EXPECT_EQ(plot.words.title, "Packet latency over time");
  EXPECT_THAT(plot.words.finding, StartsWith("2,400 packets: median "));
  EXPECT_THAT(plot.words.finding, HasSubstr(", 99 % within "));
  EXPECT_THAT(
      plot.words.caption,
      HasSubstr(
          "time in the source queue not in it · by cycle of injection, windows of 100 cycles"));
  EXPECT_THAT(plot.words.caption, HasSubstr("onset: first of three windows"));
  EXPECT_THAT(plot.words.caption, Not(HasSubstr("hatched")));
  EXPECT_THAT(plot.words.caption, HasSubstr("0 packets never ejected"));
  const Plot total = PlotLatency(counted.run, LatencySince::CREATION);
  EXPECT_THAT(total.words.caption,
              HasSubstr("time in the source queue in it · by cycle of creation"));
}

TEST_F(LatencyPlotTest, NumbersAreThoseOfTheWindows) {
  Saturate(120);
  const PlotNumbers numbers = PlotLatency(counted.run, LatencySince::INJECTION).numbers();
  const NumberTable& table = numbers.tables[0];
  EXPECT_THAT(table.columns, ElementsAre("firstCycle", "lastCycle", "injected", "delivered", "p50",
                                         "p95", "p99", "max", "incomplete"));
  ASSERT_EQ(table.Rows(), 20U);
  for (size_t i = 0; i < 20; ++i) {
    const LatencyWindow& window = packets.SinceInjection().All()[i];
    EXPECT_EQ(table.cells[i * 9], NumberCell(window.firstCycle));
    EXPECT_EQ(table.cells[i * 9 + 5], NumberCell(*window.latencies.Percentile(95)));
    EXPECT_EQ(table.cells[i * 9 + 7], NumberCell(window.latencies.Largest()));
  }
  const auto onset = std::find_if(numbers.facts.begin(), numbers.facts.end(),
                                  [](const auto& fact) { return fact.first == "onset"; });
  ASSERT_NE(onset, numbers.facts.end());
  EXPECT_EQ(onset->second, NumberCell(uint64_t{1200}));
}

TEST_F(LatencyPlotTest, FewPacketsHaveNoPercentilesAndNoneMakeAnEmptyPlot) {
  const PlotStyle style = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN);
  Plot plot = PlotLatency(counted.run, LatencySince::INJECTION);
  EXPECT_EQ(plot.words.finding, "no packet arrives in cycles 0 to 1,999");
  EXPECT_THAT(BytesOf(plot, style), StartsWith("\x89PNG"));
  for (uint64_t i = 0; i < 19; ++i) {
    Packet(100 + i, 3 * i);
  }
  plot = PlotLatency(counted.run, LatencySince::INJECTION);
  EXPECT_EQ(plot.words.finding, "19 packets: longest 54");
  const std::string none = BytesOf(plot, style);
  const PngPixels without(none);
  EXPECT_EQ(without.Count(style.theme->sequence[3]), 0U);
  Packet(150, 30);
  plot = PlotLatency(counted.run, LatencySince::INJECTION);
  EXPECT_EQ(plot.words.finding, "20 packets: median 27 cycles, 95 % within 51, longest 54");
  EXPECT_NE(BytesOf(plot, style), none) << "a window alone is a dash";
}

TEST_F(LatencyPlotTest, BandsLieBetweenTheLinesAndIncompleteWindowsAreHatched) {
  Saturate(120);
  const PlotStyle style = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN);
  const Color rule = style.theme->rule;
  const std::string complete = BytesOf(PlotLatency(counted.run, LatencySince::INJECTION), style);
  EXPECT_GT(PngPixels(complete).Count(style.theme->sequence[3]), 5000U);
  EXPECT_GT(PngPixels(complete).Count(style.theme->sequence[1]), 500U);
  for (uint64_t i = 0; i < 9; ++i) {
    packets.Add(1000000 + i, 1650, PacketRole::ENTRY, std::nullopt);
  }
  const Plot plot = PlotLatency(counted.run, LatencySince::INJECTION);
  EXPECT_THAT(plot.words.caption, HasSubstr("hatched: over 1 %"));
  EXPECT_GT(PngPixels(BytesOf(plot, style)).Count(rule), PngPixels(complete).Count(rule) + 200);
}

TEST_F(LatencyPlotTest, OneCycleIsOneWindow) {
  CountedTrace one(Encode({{FIRE_RECORD, 7, 0, {0, 0}, {}}}), {1, 1, 2});
  PacketCounts counts(PacketCounts::Windows(7, 7));
  for (uint64_t i = 0; i < 100; ++i) {
    counts.Add(i, 7, PacketRole::ENTRY, std::nullopt);
    counts.Add(i, 7, PacketRole::EXIT, std::nullopt);
  }
  one.run.packets = &counts;
  const Plot plot = PlotLatency(one.run, LatencySince::INJECTION);
  EXPECT_THAT(plot.words.caption, HasSubstr("one cycle"));
  // All latencies are 0, of which there is no logarithm.
  EXPECT_THAT(BytesOf(plot, StyleOf(PlotFormat::SVG, PlotStyle::COLUMN)), HasSubstr("</svg>"));
}

TEST_F(LatencyPlotTest, AnyTextAndSizeMakesAPictureOrIsRefused) {
  Saturate(30);
  for (const double text : {0.5, 1.0, 2.0, 4.0}) {
    for (const double width : {60.0, 240.0, 504.0}) {
      for (const double height : {0.0, 60.0}) {
        PlotStyle style = StyleOf(PlotFormat::SVG, width);
        style.height = height;
        style.text = text;
        const Plot plot = PlotLatency(counted.run, LatencySince::INJECTION);
        const auto page = DrawPage(plot.words, *plot.body, style);
        EXPECT_TRUE(page || page.Why().kind == Fault::SYSTEM);
      }
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
