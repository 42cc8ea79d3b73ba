#include "render/plot/DiffPlot.h"

#include <cairo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "render/plot/DiffOfRuns.h"
#include "tests/measure/MeasuredTrace.h"
#include "tests/support/Files.h"
#include "trace/write/ByteSink.h"

namespace marrowfin::testing {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// Fires of all elements in turn, `perCycle` of them a cycle; one element has `busy` more.
std::vector<Event> RunOf(uint64_t cycles, uint32_t seed, uint64_t busy, uint32_t columns = 8,
                         uint32_t perCycle = 6) {
  std::vector<Event> events;
  for (uint64_t cycle = 0; cycle < cycles; ++cycle) {
    for (uint32_t i = 0; i < perCycle; ++i) {
      const uint32_t at = static_cast<uint32_t>((cycle * 11 + i * seed) % (columns * 4));
      events.push_back({FIRE_RECORD, cycle, 0, {at % columns, at / columns}, {}});
    }
    if (cycle < busy) {
      events.push_back({FIRE_RECORD, cycle, 0, {5, 2}, {}});
    }
    events.push_back({SWITCH_RECORD, cycle, 0, {cycle % seed == 0 ? 8U : 4U, 4}, {}});
  }
  return events;
}

PlottedRun AsPlotted(const MeasuredTrace& trace, const std::string& name) {
  PlottedRun run;
  run.trace = name;
  run.counts = &trace.counts;
  run.measures = trace.measures;
  return run;
}

std::string Bytes(const Plot& plot, const PlotStyle& style) {
  Result<std::unique_ptr<Canvas>> canvas = DrawPage(plot.words, *plot.body, style);
  EXPECT_TRUE(canvas) << canvas.Why().Text();
  MemorySink sink;
  EXPECT_FALSE((*canvas)->Write(sink, "plot"));
  return {sink.Bytes().begin(), sink.Bytes().end()};
}

// How many pixels of a PNG have a colour.
class Pixels {
 public:
  explicit Pixels(const std::string& png) : bytes(png) {
    surface = cairo_image_surface_create_from_png_stream(Read, this);
  }
  Pixels(const Pixels&) = delete;
  Pixels& operator=(const Pixels&) = delete;
  ~Pixels() { cairo_surface_destroy(surface); }

  size_t Count(Color color) const {
    size_t count = 0;
    for (int y = 0; y < cairo_image_surface_get_height(surface); ++y) {
      const unsigned char* pixel =
          cairo_image_surface_get_data(surface) +
          static_cast<ptrdiff_t>(y) * cairo_image_surface_get_stride(surface);
      for (int x = 0; x < cairo_image_surface_get_width(surface); ++x, pixel += 4) {
        count += pixel[2] == color.red && pixel[1] == color.green && pixel[0] == color.blue ? 1 : 0;
      }
    }
    return count;
  }

 private:
  static cairo_status_t Read(void* self, unsigned char* data, unsigned int length) {
    Pixels& pixels = *static_cast<Pixels*>(self);
    pixels.bytes.copy(reinterpret_cast<char*>(data), length, pixels.at);
    pixels.at += length;
    return CAIRO_STATUS_SUCCESS;
  }

  std::string bytes;
  size_t at = 0;
  cairo_surface_t* surface;
};

class DiffPlotTest : public ::testing::Test {
 protected:
  DiffPlotTest()
      : ofBusy(RunOf(600, 5, 300), shape),
        ofEven(RunOf(600, 7, 0), shape),
        ofBrief(RunOf(200, 3, 0, 8, 3), shape),
        busy(AsPlotted(ofBusy, "busy.trace")),
        even(AsPlotted(ofEven, "even.trace")),
        brief(AsPlotted(ofBrief, "brief.trace")) {}

  static PlotStyle Style(PlotFormat format, const Theme& theme = Theme::Light()) {
    PlotStyle style;
    style.format = format;
    style.theme = &theme;
    return style;
  }

  // Compares with a picture that is kept; MARROWFIN_KEEP_PICTURES=1 keeps a new one.
  static void ExpectKept(const std::string& name, const std::string& bytes) {
    const std::string path = std::string(MARROWFIN_SOURCE_DIR "/tests/render/plot/golden/") + name;
    if (getenv("MARROWFIN_KEEP_PICTURES") != nullptr) {
      WriteFile(path, bytes);
    }
    EXPECT_TRUE(ReadFile(path) == bytes) << path << " is another picture";
  }

  static constexpr PerAxis TWO = {2, 2};
  const ArrayShape shape = {PerAxis{2, 1}, TWO, TWO};
  const MeasuredTrace ofBusy;
  const MeasuredTrace ofEven;
  const MeasuredTrace ofBrief;
  const PlottedRun busy;
  const PlottedRun even;
  const PlottedRun brief;
};

TEST_F(DiffPlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  const std::string plain = Bytes(PlotDiff(busy, even, {}, {}), {});
  ExpectKept("diff.png", plain);
  const PlotStyle dark = Style(PlotFormat::PNG, Theme::Dark());
  ExpectKept("diff-dark.png",
             Bytes(PlotDiff(even, busy, {UnitMeasure::UTILISATION, Level::DOMAIN}, dark), dark));
  const PlotStyle print = Style(PlotFormat::PNG, Theme::Print());
  ExpectKept("diff-print.png", Bytes(PlotDiff(busy, even, {}, print), print));
  PlotStyle slide;
  slide.slide = true;
  slide.width = PlotStyle::SLIDE_WIDTH;
  slide.height = PlotStyle::SLIDE_HEIGHT;
  ExpectKept("diff-slide.png", Bytes(PlotDiff(busy, even, {}, slide), slide));
  // The control: runs the other way round are another picture.
  EXPECT_NE(plain, Bytes(PlotDiff(even, busy, {}, {}), {}));
}

TEST_F(DiffPlotTest, TheSamePlotHasTheSameBytesAlsoTheSecondTime) {
  for (const PlotFormat format : {PlotFormat::PNG, PlotFormat::SVG, PlotFormat::PDF}) {
    const PlotStyle style = Style(format);
    EXPECT_EQ(Bytes(PlotDiff(busy, even, {}, style), style),
              Bytes(PlotDiff(busy, even, {}, style), style));
  }
}

TEST_F(DiffPlotTest, TheScaleIsSymmetricAboutZeroAndSignsAreToldApart) {
  const DiffScale scale = DiffScaleOf({-8.0, 3.0, 0.0, std::nullopt, 1.0});
  EXPECT_EQ(scale.end, 8);
  EXPECT_EQ(scale.StepOf(-8), 0U);
  EXPECT_EQ(scale.StepOf(8), 15U);
  EXPECT_EQ(scale.StepOf(-0.001), 7U);
  EXPECT_EQ(scale.StepOf(0.001), 8U);
  for (double change = 0.01; change < 8; change += 0.13) {
    EXPECT_EQ(scale.StepOf(change), 15 - scale.StepOf(-change));
  }
  EXPECT_EQ(scale.Text(3), "+3.00");
  EXPECT_EQ(scale.Text(-8), "−8.00");
  EXPECT_EQ(DiffScaleOf({106.0, -12.5}).Text(-12.5), "−12") << "as many digits as the largest";
  EXPECT_EQ(DiffScaleOf({0.0, std::nullopt}).end, 1) << "nothing changed";
}

TEST_F(DiffPlotTest, AFewChangesThatAreFarLargerTakeTheOutermostColours) {
  std::vector<std::optional<double>> changes(300, 1.0);
  changes[7] = -100;
  const DiffScale scale = DiffScaleOf(changes);
  EXPECT_EQ(scale.end, 1);
  EXPECT_EQ(scale.beyond, 1U);
  EXPECT_EQ(scale.StepOf(-100), 0U);
}

TEST_F(DiffPlotTest, IncreasesAreBrownAndDecreasesBlue) {
  PlotStyle style;
  style.title = style.caption = false;
  std::vector<std::optional<double>> changes(32, 1.0);
  const ArrayShape flat = {PerAxis{1, 1}, PerAxis{1, 1}, PerAxis{8, 4}};
  const auto draw = [&] {
    Plot plot;
    plot.body =
        std::make_unique<DiffPlot>(flat, Level::PE, std::vector<DiffPanel>{{"", "unit", changes}});
    return Bytes(plot, style);
  };
  const Color up = style.theme->divergence[15];
  const Color down = style.theme->divergence[0];
  const size_t onScale = Pixels(draw()).Count(down);
  EXPECT_GT(Pixels(draw()).Count(up), 20 * onScale);
  std::fill(changes.begin(), changes.end(), -1.0);
  EXPECT_GT(Pixels(draw()).Count(down), 20 * onScale);
  std::fill(changes.begin(), changes.end(), 0.0);
  EXPECT_LE(Pixels(draw()).Count(down), onScale) << "no change has the colour of the paper";
  // In print decreases are hatched over.
  std::fill(changes.begin(), changes.end(), -1.0);
  const size_t plain = Pixels(draw()).Count(down);
  style.theme = &Theme::Print();
  EXPECT_LT(Pixels(draw()).Count(down), plain * 9 / 10);
}

TEST_F(DiffPlotTest, RunsWhoseMeansAreFarApartHaveASecondMap) {
  const PlotStyle style;
  const Plot alike = PlotDiff(busy, even, {}, style);
  const Plot apart = PlotDiff(brief, busy, {}, style);
  EXPECT_GT(apart.body->HeightFor(160, style), 1.8 * alike.body->HeightFor(160, style));
  const PlotStyle svg = Style(PlotFormat::SVG);
  EXPECT_NE(Bytes(apart, svg), Bytes(PlotDiff(busy, brief, {}, style), svg));
}

TEST_F(DiffPlotTest, SmallCellsInPrintAreTwoMapsOneForEachSign) {
  const ArrayShape large = {4, 4, 8};
  const std::vector<DiffPanel> panels = {
      {"", "unit", std::vector<std::optional<double>>(large.Elements(), 1.0)}};
  const DiffPlot plot(large, Level::PE, panels);
  EXPECT_GT(plot.HeightFor(160, Style(PlotFormat::PNG, Theme::Print())),
            1.8 * plot.HeightFor(160, Style(PlotFormat::PNG)));
}

TEST_F(DiffPlotTest, WordsTellTheHeadlineNumbers) {
  const Plot plot = PlotDiff(busy, even, {}, {});
  EXPECT_EQ(plot.words.title, "Fire rate: busy − even");
  EXPECT_THAT(plot.words.finding,
              AllOf(StartsWith("Up at "), HasSubstr(" of 32 PEs, most at (5, 2): "),
                    HasSubstr("; mean 187 to 203 (+8.33 %)")));
  EXPECT_THAT(
      plot.words.caption,
      StartsWith("A busy.trace, cycles 0 to 599 (all) · B even.trace, cycles 0 to 599 (all) · "
                 "over each run’s own length · 2 × 1 clusters of 2 × 2 domains of 2 × 2 PEs · "
                 "scale symmetric about 0"));
  EXPECT_EQ(PlotDiff(busy, busy, {}, {}).words.finding, "The same at 32 PEs");
  EXPECT_EQ(PlotDiff(busy, busy, {}, {}).words.title, "Fire rate: A − B") << "of one name";
  EXPECT_THAT(PlotDiff(busy, even, {UnitMeasure::TRANSMISSIONS}, {}).words.finding,
              HasSubstr(" of 2 switches"));
}

TEST_F(DiffPlotTest, OfDifferentArraysWhatOnlyOneHasIsCrossedOut) {
  const MeasuredTrace narrow(RunOf(600, 5, 0, 4), {PerAxis{1, 1}, TWO, TWO});
  const PlottedRun other = AsPlotted(narrow, "narrow.trace");
  const Plot plot = PlotDiff(busy, other, {}, {});
  EXPECT_THAT(plot.words.caption, AllOf(HasSubstr("A 2 × 1 clusters of 2 × 2 domains of 2 × 2 PEs, "
                                                  "B 2 × 2 domains of 2 × 2 PEs"),
                                        HasSubstr("crossed out: 16 that A alone has, 0 that B")));
  EXPECT_THAT(Bytes(plot, {}), StartsWith("\x89PNG"));
}

TEST_F(DiffPlotTest, WordsTellInWhichMapChangesAreBeyondTheScale) {
  const ArrayShape wide = {PerAxis{16, 1}, TWO, TWO};
  const MeasuredTrace more(RunOf(640, 5, 640, 64, 60), wide);
  const MeasuredTrace less(RunOf(640, 7, 0, 64, 30), wide);
  const Plot apart = PlotDiff(AsPlotted(more, "more.trace"), AsPlotted(less, "less.trace"), {}, {});
  EXPECT_THAT(apart.words.caption,
              AllOf(HasSubstr(" (A − B) take the outermost colour"),
                    HasSubstr(" (A / mean A − B / mean B) take the outermost colour")));
  const MeasuredTrace same(RunOf(640, 7, 0, 64, 60), wide);
  const Plot near = PlotDiff(AsPlotted(more, "more.trace"), AsPlotted(same, "same.trace"), {}, {});
  EXPECT_THAT(near.words.caption,
              AllOf(HasSubstr(" take the outermost colour"), Not(HasSubstr("mean A"))))
      << "there is one map";
}

TEST_F(DiffPlotTest, TheNumbersBehindAPictureAreWhatIsDrawn) {
  const PlotNumbers numbers = PlotDiff(busy, even, {}, {}).numbers();
  ASSERT_EQ(numbers.tables[0].Rows(), 32U);
  EXPECT_EQ(numbers.tables[0].columns,
            (std::vector<std::string>{"column", "row", "a", "b", "change"}));
  const std::vector<ElementCounts>& inA = busy.counts->Places().Elements();
  const std::vector<ElementCounts>& inB = even.counts->Places().Elements();
  for (size_t i = 0; i < inA.size(); ++i) {
    EXPECT_EQ(numbers.tables[0].cells[i * 5 + 2],
              NumberCell(static_cast<double>(inA[i].fires) / 600));
    EXPECT_EQ(numbers.tables[0].cells[i * 5 + 3],
              NumberCell(static_cast<double>(inB[i].fires) / 600));
  }
}

}  // namespace
}  // namespace marrowfin::testing
