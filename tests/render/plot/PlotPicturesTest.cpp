#include <cairo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "measure/CountRun.h"
#include "render/plot/HeatOfRun.h"
#include "render/plot/HeatPlot.h"
#include "render/plot/TimelineOfRun.h"
#include "render/plot/TimelinePlot.h"
#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// A run of two clusters side by side: three phases, one busy place, some that do nothing.
std::string RunBytes() {
  std::vector<Event> events;
  for (uint64_t cycle = 0; cycle < 600; ++cycle) {
    const uint32_t active = cycle < 200 ? 2 : cycle < 400 ? 9 : 1;
    for (uint32_t i = 0; i < active; ++i) {
      const uint32_t at = static_cast<uint32_t>((cycle * 7 + i * 5) % 24);
      events.push_back({FIRE_RECORD, cycle, i % 3, {at % 8, at / 8}, {}});
    }
    events.push_back({FIRE_RECORD, cycle, 3, {5, 2}, {}});
    events.push_back({SWITCH_RECORD, cycle, 0, {cycle % 3 == 0 ? 8U : 4U, 4}, {}});
  }
  return Encode(events);
}

class PlotPicturesTest : public ::testing::Test {
 protected:
  PlotPicturesTest() : opened(RunBytes()) {
    RunQuestion question;
    question.shape = ArrayShape({2, 1}, {2, 2}, {2, 2});
    Result<RunCounts> result = CountRun(*opened.trace, nullptr, question);
    EXPECT_TRUE(result);
    counts.emplace(std::move(result).Take());
    run.trace = "run.trace";
    run.counts = &*counts;
    run.measures = MeasuresOf(*counts);
  }

  static std::string Bytes(const Plot& plot, const PlotStyle& style) {
    Result<std::unique_ptr<Canvas>> canvas = DrawPage(plot.words, *plot.body, style);
    EXPECT_TRUE(canvas) << canvas.Why().Text();
    MemorySink sink;
    EXPECT_FALSE((*canvas)->Write(sink, "plot"));
    return {sink.Bytes().begin(), sink.Bytes().end()};
  }

  std::string Heat(const PlotStyle& style, const HeatWish& wish = {}) const {
    return Bytes(PlotHeat(run, wish, style), style);
  }

  std::string Timeline(PlotStyle style, bool byType = false) const {
    style.width = PlotStyle::WIDE;
    return Bytes(PlotTimeline(run, byType), style);
  }

  static PlotStyle Style(PlotFormat format, const Theme& theme = Theme::Light()) {
    PlotStyle style;
    style.format = format;
    style.theme = &theme;
    return style;
  }

  static PlotStyle Slide(const Theme& theme) {
    PlotStyle style = Style(PlotFormat::PNG, theme);
    style.slide = true;
    style.width = PlotStyle::SLIDE_WIDTH;
    style.height = PlotStyle::SLIDE_HEIGHT;
    return style;
  }

  Opened opened;
  std::optional<RunCounts> counts;
  PlottedRun run;
};

TEST_F(PlotPicturesTest, TheSamePlotHasTheSameBytesAlsoTheSecondTime) {
  for (const PlotFormat format : {PlotFormat::PNG, PlotFormat::SVG, PlotFormat::PDF}) {
    const PlotStyle style = Style(format);
    const std::string heat = Heat(style);
    const std::string timeline = Timeline(style);
    EXPECT_EQ(heat, Heat(style));
    EXPECT_EQ(timeline, Timeline(style));
    EXPECT_NE(heat, timeline);
    EXPECT_NE(heat, Heat(style, {PlaceMeasure::UTILISATION}));
    EXPECT_NE(heat, Heat(Style(format, Theme::Dark())));
    EXPECT_NE(timeline, Timeline(style, true));
  }
}

TEST_F(PlotPicturesTest, FormatsAreWhatTheirNamesSay) {
  EXPECT_THAT(Heat(Style(PlotFormat::PNG)), StartsWith("\x89PNG"));
  const std::string svg = Heat(Style(PlotFormat::SVG));
  EXPECT_THAT(svg, HasSubstr("<svg "));
  EXPECT_THAT(svg, HasSubstr("id=\"plot-1\""));
  EXPECT_THAT(svg, Not(HasSubstr("glyph0")));
  const std::string pdf = Heat(Style(PlotFormat::PDF));
  EXPECT_THAT(pdf, StartsWith("%PDF-"));
  EXPECT_THAT(pdf, HasSubstr("2000"));
}

// Compares with a picture that is kept; MARROWFIN_KEEP_PICTURES=1 keeps a new one.
void ExpectKept(const std::string& name, const std::string& bytes) {
  const std::string path = std::string(MARROWFIN_SOURCE_DIR "/tests/render/plot/golden/") + name;
  if (getenv("MARROWFIN_KEEP_PICTURES") != nullptr) {
    WriteFile(path, bytes);
  }
  EXPECT_TRUE(ReadFile(path) == bytes) << path << " is another picture";
}

TEST_F(PlotPicturesTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  ExpectKept("heat.png", Heat(Style(PlotFormat::PNG)));
  ExpectKept("heat-dark.png", Heat(Style(PlotFormat::PNG, Theme::Dark()),
                                   {PlaceMeasure::UTILISATION, false, Level::DOMAIN}));
  ExpectKept("timeline.png", Timeline(Style(PlotFormat::PNG)));
  ExpectKept("heat-slide-dark.png", Heat(Slide(Theme::Dark())));
  ExpectKept("timeline-slide.png", Bytes(PlotTimeline(run, false), Slide(Theme::Light())));
}

// The colours of a PNG.
class Pixels {
 public:
  explicit Pixels(const std::string& png) : bytes(png) {
    surface = cairo_image_surface_create_from_png_stream(Read, this);
  }
  Pixels(const Pixels&) = delete;
  Pixels& operator=(const Pixels&) = delete;
  ~Pixels() { cairo_surface_destroy(surface); }

  int Width() const { return cairo_image_surface_get_width(surface); }
  int Height() const { return cairo_image_surface_get_height(surface); }

  size_t Count(Color color) const {
    size_t count = 0;
    for (int y = 0; y < cairo_image_surface_get_height(surface); ++y) {
      const unsigned char* row =
          cairo_image_surface_get_data(surface) +
          static_cast<ptrdiff_t>(y) * cairo_image_surface_get_stride(surface);
      for (int x = 0; x < Width(); ++x, row += 4) {
        count += row[2] == color.red && row[1] == color.green && row[0] == color.blue ? 1 : 0;
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

TEST_F(PlotPicturesTest, ACellHasTheColourOfItsStepAndNoOther) {
  PlotStyle style = Style(PlotFormat::PNG);
  style.title = style.caption = false;
  const Pixels pixels(Heat(style));
  EXPECT_EQ(pixels.Width(), 960);
  // The busiest element stands alone on the last step; its cell and that of the scale have it.
  const size_t last = pixels.Count(style.theme->sequence[15]);
  EXPECT_GT(last, 20U * 20U);
  const std::vector<double> fires = ValuesOf(*counts, PlaceMeasure::FIRES, 1);
  HeatMap map;
  map.shape = counts->Places().Shape();
  map.values = fires;
  const HeatScale scale = ScaleOf(map);
  std::vector<size_t> cells(Theme::STEPS);
  for (const double value : fires) {
    cells[scale.StepOf(value)] += value > 0 ? 1 : 0;
  }
  for (size_t step = 0; step < Theme::STEPS; ++step) {
    const size_t seen = pixels.Count(style.theme->sequence[step]);
    EXPECT_GT(seen, 100U) << "at least on the scale";
    EXPECT_EQ(cells[step] > 0, seen > 2 * 400U) << step << ": " << cells[step] << " cells";
  }
}

TEST_F(PlotPicturesTest, NoPixelOfThePageIsLeftWithoutPaper) {
  for (const double text : {0.9, 1.0, 1.1, 1.3, 1.7}) {
    PlotStyle style = Style(PlotFormat::PNG);
    style.text = text;
    style.title = style.caption = false;
    // What nothing was drawn on is black, which letters on dark cells are too.
    const Plot plot = PlotTimeline(run, false);
    EXPECT_LT(Pixels(Bytes(plot, style)).Count({0, 0, 0}), 900U) << text;
  }
}

TEST_F(PlotPicturesTest, LegendsEndWithinThePageAtAnySizeOfText) {
  const Plot plot = PlotTimeline(run, true);
  for (const double text : {0.5, 1.0, 2.0}) {
    PlotStyle style;
    style.text = text;
    EXPECT_GE(plot.body->GetMargins(style).right,
              8 + style.LabelSize() * 1.8 +
                  TextWidth("transmissions", Weight::BOLD, style.LabelSize()) +
                  TextWidth("16.7 %", Weight::REGULAR, style.LabelSize()));
  }
}

TEST_F(PlotPicturesTest, ASlideFillsAScreenAndMakesItsLettersSmallerBeforeItRefuses) {
  const Pixels pixels(Heat(Slide(Theme::Light())));
  EXPECT_EQ(pixels.Width(), 1920);
  EXPECT_EQ(pixels.Height(), 1080);
  const PlotStyle style = Slide(Theme::Light());
  Plot plot = PlotTimeline(run, false);
  EXPECT_TRUE(DrawPage(plot.words, *plot.body, style));
  plot.words.caption += " " + plot.words.caption;
  EXPECT_TRUE(DrawPage(plot.words, *plot.body, style));
  for (int i = 0; i < 4; ++i) {
    plot.words.caption += " " + plot.words.caption;
  }
  EXPECT_FALSE(DrawPage(plot.words, *plot.body, style));
}

TEST_F(PlotPicturesTest, TheNumbersBehindAPictureAreWhatIsDrawn) {
  const PlotNumbers heat = PlotHeat(run, {}, {}).numbers();
  ASSERT_EQ(heat.tables[0].Rows(), 32U);
  EXPECT_EQ(heat.tables[0].columns, (std::vector<std::string>{"column", "row", "fires"}));
  const std::vector<ElementCounts>& elements = counts->Places().Elements();
  for (size_t i = 0; i < elements.size(); ++i) {
    EXPECT_EQ(heat.tables[0].cells[i * 3], NumberCell(uint64_t{i % 8}));
    EXPECT_EQ(heat.tables[0].cells[i * 3 + 1], NumberCell(uint64_t{i / 8}));
    EXPECT_EQ(heat.tables[0].cells[i * 3 + 2], NumberCell(elements[i].fires));
  }
  const PlotNumbers shares = PlotHeat(run, {PlaceMeasure::UTILISATION}, {}).numbers();
  EXPECT_EQ(shares.tables[0].columns[2], "utilisation");
  EXPECT_EQ(shares.tables[0].cells[21 * 3 + 2],
            NumberCell(static_cast<double>(elements[21].active) / 600 * 100 / 100));
  const PlotNumbers timeline = PlotTimeline(run, false).numbers();
  EXPECT_EQ(timeline.tables[0].columns,
            (std::vector<std::string>{"firstCycle", "cycles", "thread0", "thread1", "thread2",
                                      "thread3"}));
  EXPECT_EQ(timeline.tables[0].Rows(), 300U);
  EXPECT_EQ(timeline.tables[1].name, "phases");
  EXPECT_EQ(timeline.tables[1].Rows(), 3U);
  const PlotNumbers types = PlotTimeline(run, true).numbers();
  EXPECT_EQ(types.tables[0].columns[3], "transmissions");
  EXPECT_EQ(types.tables[1].Rows(), 0U);
}

TEST_F(PlotPicturesTest, LayersBehindTheSixthAreHatched) {
  const TimeColumns columns = TimeColumns::AtMost(0, 9, 10);
  const std::vector<TimelineLayer> layers(7, {"layer", std::vector<uint64_t>(10, 1)});
  const TimelinePlot plot(columns, layers, std::nullopt, "", "");
  const PlotStyle style = Style(PlotFormat::PNG);
  Result<std::unique_ptr<Canvas>> canvas = DrawPage({}, plot, style);
  ASSERT_TRUE(canvas);
  MemorySink sink;
  ASSERT_FALSE((*canvas)->Write(sink, "plot"));
  const Pixels pixels({sink.Bytes().begin(), sink.Bytes().end()});
  const double plain = static_cast<double>(pixels.Count(style.theme->categories[0]));
  EXPECT_GT(plain, 1000);
  EXPECT_NEAR(static_cast<double>(pixels.Count(style.theme->categories[5])), plain, plain / 5);
  EXPECT_LT(static_cast<double>(pixels.Count(style.theme->categories[6])), plain * 0.8);
  EXPECT_GT(static_cast<double>(pixels.Count(style.theme->categories[6])), plain * 0.2);
}

TEST_F(PlotPicturesTest, WordsTellTheHeadlineNumbers) {
  const Plot heat = PlotHeat(run, {}, {});
  EXPECT_EQ(heat.words.title, "Fires of each PE");
  EXPECT_THAT(heat.words.finding, StartsWith("PE (5, 2) has 6"));
  EXPECT_THAT(heat.words.finding, HasSubstr("8 of 32 PEs never"));
  EXPECT_THAT(heat.words.caption,
              StartsWith("run.trace · cycles 0 to 599 (all) · 2 × 1 clusters of 2 × 2 domains of 2 "
                         "× 2 PEs"));
  // A mean is told as one.
  EXPECT_THAT(PlotHeat(run, {PlaceMeasure::FIRES, false, Level::CLUSTER}, {}).words.finding,
              HasSubstr(" fires per PE, "));
  const Plot switches = PlotHeat(run, {PlaceMeasure::FIRES, true}, {});
  EXPECT_EQ(switches.words.title, "Transmissions of each switch");
  EXPECT_THAT(switches.words.finding, StartsWith("Cluster (0, 0) has 400 transmissions"));
  const Plot timeline = PlotTimeline(run, false);
  EXPECT_THAT(timeline.words.finding,
              HasSubstr("in 3 phases; the busiest, cycles 200 to 399, has 10"));
  EXPECT_THAT(timeline.words.caption, HasSubstr("one column = 2 cycles · thread 0 at the bottom"));
  EXPECT_THAT(timeline.words.caption, HasSubstr("penalty 3 σ² ln n with σ 1, n 300"));
  EXPECT_THAT(heat.words.caption, HasSubstr(" · 3,000 fires · "));
}

TEST_F(PlotPicturesTest, ARangeWithoutFiresIsAnEmptyPlotThatSaysSo) {
  RunQuestion question;
  question.shape = counts->Places().Shape();
  question.filter.thread = 99;
  const Result<RunCounts> none = CountRun(*opened.trace, nullptr, question);
  ASSERT_TRUE(none);
  run.counts = &*none;
  run.measures = MeasuresOf(*none);
  EXPECT_EQ(PlotHeat(run, {}, {}).words.finding, "no fires here");
  EXPECT_EQ(PlotTimeline(run, false).words.finding, "no fires in cycles 0 to 599");
  EXPECT_THAT(Heat(Style(PlotFormat::PNG)), StartsWith("\x89PNG"));
  EXPECT_THAT(Timeline(Style(PlotFormat::SVG)), HasSubstr("</svg>"));
}

TEST_F(PlotPicturesTest, APageThatIsTooSmallOrTooLargeIsAFault) {
  PlotStyle style;
  style.width = 60;
  EXPECT_EQ(DrawPage({}, *PlotHeat(run, {}, style).body, style).Why().kind, Fault::SYSTEM);
  style.width = 99999;
  EXPECT_EQ(DrawPage({}, *PlotHeat(run, {}, style).body, style).Why().kind, Fault::SYSTEM);
  style.width = 240;
  style.height = 50;
  EXPECT_EQ(DrawPage({}, *PlotHeat(run, {}, style).body, style).Why().kind, Fault::SYSTEM);
}

TEST(FontFilesTest, TheLettersAreThoseThatWereMeasured) {
  const CommandResult result = RunCommand({"sha256sum", "--check", "--quiet", "SHA256SUMS"},
                                          {"", MARROWFIN_SOURCE_DIR "/render/plot/fonts", {}});
  EXPECT_EQ(result.exitStatus, 0) << result.out << result.err;
}

}  // namespace
}  // namespace marrowfin::testing
