// Pictures of threads

#include <gmock/gmock.h>

#include "render/plot/ThreadPlot.h"
#include "render/plot/ThreadsOfRun.h"
#include "tests/render/plot/Pictures.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// A map of 2 x 1 clusters of 2 x 2 domains of 2 x 2 elements with so many threads, each of which
// has places of its own; every third place is shared, and some do not fire.
ThreadMap MapOf(uint32_t threads) {
  ThreadMap map;
  map.shape = ArrayShape({2, 1}, {2, 2}, {2, 2});
  map.fires.resize(threads + 1);
  for (uint32_t thread = 0; thread < threads; ++thread) {
    map.threads.push_back(thread * 3);
  }
  for (size_t i = 0; i < 32; ++i) {
    PlaceThread place;
    if (i % 7 != 6) {
      place.slot = i * 5 % threads;
      place.fires = 100 + i;
      place.most = i % 3 == 0 ? 60 : 99 + i;
      map.fires[place.slot] += place.most;
      map.fires[(place.slot + 1) % threads] += place.fires - place.most;
    }
    map.places.push_back(place);
  }
  return map;
}

class ThreadPlotTest : public ::testing::Test {
 protected:
  ThreadPlotTest() { counted.run.trace = "run.trace"; }

  static std::string Bytes(const Plot& plot, const PlotStyle& style) {
    return BytesOf(plot, style);
  }

  CountedTrace counted{Encode({{FIRE_RECORD, 1, 0, {0, 0}, {}}, {FIRE_RECORD, 9, 0, {1, 0}, {}}}),
                       {PerAxis{2, 1}, PerAxis{2, 2}, PerAxis{2, 2}}};
  const PlotStyle light = StyleOf(PlotFormat::PNG, 240);
  const PlotStyle dark = StyleOf(PlotFormat::PNG, 240, Theme::Dark());
  const PlotStyle print = StyleOf(PlotFormat::PNG, 240, Theme::Print());
};

TEST_F(ThreadPlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  const std::string few = Bytes(PlotThreads(counted.run, MapOf(4)), light);
  ExpectKeptPicture("threads.png", few);
  ExpectKeptPicture("threads-many-dark.png", Bytes(PlotThreads(counted.run, MapOf(14)), dark));
  ExpectKeptPicture("threads-many-print.png", Bytes(PlotThreads(counted.run, MapOf(9)), print));
  ThreadMap other = MapOf(4);
  other.places[5].slot = (other.places[5].slot + 1) % 4;
  EXPECT_NE(few, Bytes(PlotThreads(counted.run, other), light));
  other = MapOf(4);
  other.places[5].most = 1;
  EXPECT_NE(few, Bytes(PlotThreads(counted.run, other), light)) << "a dot";
}

TEST_F(ThreadPlotTest, ThreadsThatShareAllPlacesHaveNoMap) {
  ThreadMap map = MapOf(4);
  for (PlaceThread& place : map.places) {
    place.most = place.fires / 2;
  }
  EXPECT_TRUE(ShareAllPlaces(map));
  const Plot plot = PlotThreads(counted.run, map);
  EXPECT_THAT(plot.words.finding, StartsWith("Threads share all places: 28 of 32 PEs fire"));
  EXPECT_THAT(plot.words.caption, Not(HasSubstr("carry a dot")));
  ExpectKeptPicture("threads-shared.png", Bytes(plot, light));
  map.places[3].most = map.places[3].fires;
  EXPECT_FALSE(ShareAllPlaces(map));
}

TEST_F(ThreadPlotTest, ElevenThreadsAndOthersHaveColoursWhereThereAreMany) {
  ThreadMap map = MapOf(14);
  map.fires.back() = 5;
  const ThreadColors colors(map);
  ASSERT_EQ(colors.Entries().size(), 12U);
  EXPECT_EQ(colors.Entries()[11].name, "others");
  uint64_t fires = 0;
  size_t places = 0;
  for (const ThreadColors::Entry& entry : colors.Entries()) {
    fires += entry.fires;
    places += entry.places;
    EXPECT_TRUE(entry.name == "others" || entry.fires >= colors.Entries()[11].fires / 4);
  }
  uint64_t expected = 0;
  for (const uint64_t each : map.fires) {
    expected += each;
  }
  EXPECT_EQ(fires, expected);
  EXPECT_EQ(places, 28U);
  EXPECT_EQ(ThreadColors(MapOf(12)).Entries().size(), 12U);
  EXPECT_EQ(ThreadColors(MapOf(12)).Entries()[11].name, "33");
  EXPECT_THAT(PlotThreads(counted.run, map).words.caption,
              HasSubstr("others: all threads but the 11 with most fires, some of which are not"));
}

TEST_F(ThreadPlotTest, ColoursBehindTheSixthAreHatched) {
  PlotStyle style = light;
  style.title = style.caption = false;
  const PngPixels pixels(Bytes(PlotThreads(counted.run, MapOf(8)), style));
  const double plain = static_cast<double>(pixels.Count(style.theme->categories[1]));
  EXPECT_GT(plain, 1000);
  EXPECT_LT(static_cast<double>(pixels.Count(style.theme->categories[6])), plain);
  EXPECT_GT(pixels.Count(style.theme->categories[6]), 100U);
}

TEST_F(ThreadPlotTest, ManyThreadsFitASlideAndAnySizeOfText) {
  PlotStyle slide = StyleOf(PlotFormat::PNG, PlotStyle::SLIDE_WIDTH);
  slide.slide = true;
  slide.height = PlotStyle::SLIDE_HEIGHT;
  EXPECT_THAT(Bytes(PlotThreads(counted.run, MapOf(14)), slide), StartsWith("\x89PNG"));
  for (const double text : {0.5, 2.0, 4.0}) {
    PlotStyle style = StyleOf(PlotFormat::SVG, 504);
    style.text = text;
    EXPECT_THAT(Bytes(PlotThreads(counted.run, MapOf(14)), style), HasSubstr("</svg>"));
  }
}

TEST_F(ThreadPlotTest, WordsAndNumbersTellPlacesAndTheirThread) {
  const ThreadMap map = MapOf(4);
  const Plot plot = PlotThreads(counted.run, map);
  EXPECT_EQ(plot.words.finding,
            "28 of 32 PEs fire; in 19 of them one thread makes at least 90 % of the fires, 9 are "
            "shared");
  const PlotNumbers numbers = plot.numbers();
  ASSERT_EQ(numbers.tables[0].Rows(), 32U);
  EXPECT_EQ(numbers.tables[0].cells[2], NumberCell(uint64_t{100}));
  EXPECT_EQ(numbers.tables[0].cells[3], NumberCell(uint64_t{0}));
  EXPECT_EQ(numbers.tables[0].cells[4], NumberCell(uint64_t{60}));
  EXPECT_EQ(numbers.tables[0].cells[5 * 6 + 3], NumberCell()) << "nobody fires";
  EXPECT_EQ(numbers.tables[1].Rows(), 4U);
  ThreadMap one = map;
  one.places.assign(32, {});
  one.places[7] = map.places[7];
  EXPECT_EQ(PlotThreads(counted.run, one).words.finding,
            "1 of 32 PEs fires; in 1 of them one thread makes at least 90 % of the fires, 0 are "
            "shared");
  ThreadMap none = map;
  none.fires.assign(5, 0);
  none.places.assign(32, {});
  const Plot empty = PlotThreads(counted.run, none);
  EXPECT_EQ(empty.words.finding, "no fires in cycles 1 to 9");
  EXPECT_THAT(Bytes(empty, light), StartsWith("\x89PNG"));
}

}  // namespace
}  // namespace marrowfin::testing
