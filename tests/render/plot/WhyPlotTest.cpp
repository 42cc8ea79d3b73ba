#include "render/plot/WhyPlot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "measure/CountSpaceTime.h"
#include "render/plot/ArrayAndMapPlot.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/CauseWords.h"
#include "render/plot/ConeOfRun.h"
#include "render/plot/WhyOfRun.h"
#include "tests/render/plot/Pictures.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const ArrayShape shape = {{2, 2}, {2, 1}, {2, 2}};  // 8 columns, 4 rows

// A thread walks over the array, mostly to and fro between two elements; others fire on their own.
std::vector<Event> WalkEvents(uint64_t rounds) {
  const std::vector<Place> way = {{0, 0}, {1, 1}, {0, 0}, {1, 1}, {5, 2}, {7, 3}};
  std::vector<Event> events;
  for (uint64_t i = 0; i < rounds; ++i) {
    const Place at = way[i % way.size()];
    events.push_back({FIRE_RECORD, i * 8, 1, at, {}});
    for (uint32_t other = 0; other < 12; ++other) {
      events.push_back({FIRE_RECORD, i * 8 + 1, 2, shape.ElementAt((other * 5 + i) % 32), {}});
    }
    if (i + 1 < rounds) {
      events.push_back({SEND_RECORD, i * 8 + 2, 1, at, way[(i + 1) % way.size()]});
    }
  }
  return events;
}

class WhyPlotTest : public ::testing::Test {
 protected:
  explicit WhyPlotTest(const std::vector<Event>& events = WalkEvents(60))
      : counted(Encode(events), shape) {
    CauseQuestion question;
    question.shape = shape;
    Result<Causes> result =
        FindCauses(*counted.opened.trace, *counted.opened.index, nullptr, question);
    EXPECT_TRUE(IsFine(result.Why()));
    causes.emplace(std::move(result).Take());
  }

  // The chain that led to the last fire of thread 1, or to the end.
  const PlottedChain& Chain(bool ofThread, Level level = Level::PE) {
    uint64_t record = *causes->last;
    TimedRecords records(causes->trace);
    while (ofThread && records.Read(record)->event.thread != 1) {
      --record;
    }
    chain.event = records.Read(record)->event;
    chain.isEnd = !ofThread;
    chain.lastTime = causes->lastTime;
    Result<CausalChain> found = FindChain(*causes, shape, record);
    EXPECT_TRUE(IsFine(found.Why()));
    chain.chain = std::move(found).Take();
    Result<ChainPath> path = PathOf(*causes, chain.chain, shape, level);
    EXPECT_TRUE(IsFine(path.Why()));
    chain.path = std::move(path).Take();
    chain.level = level;
    return chain;
  }

  Plot PlotOf(bool ofThread = true, Level level = Level::PE, const PlotStyle& style = {}) {
    SpaceTimeQuestion question;
    question.shape = shape;
    Result<SpaceTime> map = CountSpaceTime(*counted.opened.trace, *counted.opened.index, question);
    EXPECT_TRUE(IsFine(map.Why()));
    return PlotWhy(counted.run, Chain(ofThread, level), std::move(map).Take(), style);
  }

  CountedTrace counted;
  std::optional<Causes> causes;
  PlottedChain chain;
};

TEST_F(WhyPlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  const PlotStyle wide = StyleOf(PlotFormat::PNG, PlotStyle::WIDE);
  ExpectKeptPicture("why.png", BytesOf(PlotOf(), wide));
  ExpectKeptPicture("why-narrow-dark.png",
                    BytesOf(PlotOf(), StyleOf(PlotFormat::PNG, PlotStyle::COLUMN, Theme::Dark())));
  EXPECT_NE(BytesOf(PlotOf(), wide), BytesOf(PlotOf(false), wide)) << "another chain";
  EXPECT_NE(BytesOf(PlotOf(), wide), BytesOf(PlotOf(true, Level::CLUSTER), wide));
}

TEST_F(WhyPlotTest, OnPagesNarrowerThanThreeHundredPointsTheMapStandsBelow) {
  const Plot plot = PlotOf();
  PlotStyle style;
  const auto heightAt = [&](double page) {
    style.width = page * style.text;
    return plot.body->HeightFor(280, style);
  };
  EXPECT_EQ(heightAt(299.9), heightAt(200));
  EXPECT_EQ(heightAt(300), heightAt(500));
  EXPECT_GT(heightAt(299.9), 1.5 * heightAt(300));
}

TEST_F(WhyPlotTest, TheArrayBesideTheMapIsAsFineAsItsPartOfThePageLets) {
  const ArrayShape large = {4, 4, 8};
  std::set<Level> levels;
  for (double width = 80; width < 600; width += 0.5) {
    PlotStyle style;
    style.width = width;
    const double part = width < ArrayAndMapPlot::NARROW ? 1 : ArrayAndMapPlot::ARRAY_PART;
    const Level level = LevelBesideMap(large, style);
    EXPECT_EQ(level, LevelFor(large, width * part - 60, style.Scale())) << width;
    levels.insert(level);
  }
  EXPECT_GT(levels.size(), 1U);
}

// What led to the last fire of thread 1, and what followed from its first one.
class ConePlotTest : public WhyPlotTest {
 protected:
  Plot PlotOf(ConeDirection direction, const PlotStyle& style) {
    const bool back = direction == ConeDirection::BACK;
    Result<PlottedCone> found =
        ConeToPlot(*causes, back ? Chain(true).chain.last : Chain(true).chain.first, direction);
    EXPECT_TRUE(IsFine(found.Why()));
    cone = std::move(found).Take();
    Result<SpaceTime> map = ConeOverTime(*causes, cone.cone, EmptyMapOf(counted.run, style));
    EXPECT_TRUE(IsFine(map.Why()));
    EXPECT_EQ(map->Total(), cone.cone.fires) << "all of its fires are on the map";
    return PlotCone(counted.run, cone, std::move(map).Take(), style);
  }

  RunSlack Slack() const {
    Result<RunSlack> slack = FindSlack(*causes);
    EXPECT_TRUE(IsFine(slack.Why()));
    return std::move(slack).Take();
  }

  PlottedCone cone;
};

TEST_F(ConePlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  const PlotStyle wide = StyleOf(PlotFormat::PNG, PlotStyle::WIDE);
  const PlotStyle narrow = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN, Theme::Dark());
  const std::string back = BytesOf(PlotOf(ConeDirection::BACK, wide), wide);
  ExpectKeptPicture("cone-back.png", back);
  ExpectKeptPicture("cone-forward-narrow-dark.png",
                    BytesOf(PlotOf(ConeDirection::FORWARD, narrow), narrow));
  EXPECT_NE(back, BytesOf(PlotOf(ConeDirection::FORWARD, wide), wide));
  const RunSlack slack = Slack();
  const PlotStyle column = StyleOf(PlotFormat::PNG, PlotStyle::COLUMN);
  ExpectKeptPicture("slack.png", BytesOf(PlotSlack(counted.run, slack, false, column), column));
}

TEST_F(ConePlotTest, WordsTellTheEventTheDirectionAndHowMuchThereIs) {
  const Plot back = PlotOf(ConeDirection::BACK, {});
  EXPECT_EQ(back.words.title, "All that led to this fire (inferred)");
  EXPECT_THAT(back.words.finding,
              StartsWith("60 fires and 59 messages at 4 of 32 PEs, cycles 0 to 472; most at PE "));
  EXPECT_THAT(back.words.caption, HasSubstr("fire: PE (7, 3), thread 1, cycle 472"));
  EXPECT_EQ(PlotOf(ConeDirection::FORWARD, {}).words.title,
            "All that followed from this fire (inferred)");
  const PlotNumbers numbers = PlotOf(ConeDirection::FORWARD, {}).numbers();
  ASSERT_EQ(numbers.tables.size(), 1U);
  EXPECT_EQ(numbers.tables[0].Rows(), cone.cone.places.size());
}

TEST_F(ConePlotTest, SlackTellsThePlacesWithoutAnyAndTheOneWithMost) {
  const RunSlack slack = Slack();
  const Plot plot = PlotSlack(counted.run, slack, false, {});
  EXPECT_EQ(plot.words.title, "Least slack of each PE (inferred)");
  EXPECT_THAT(plot.words.finding, HasSubstr(" that fired have a fire without any slack; most "));
  EXPECT_EQ(plot.numbers().tables[0].Rows(), slack.places.size());
  EXPECT_EQ(PlotSlack(counted.run, {}, true, {}).words.finding,
            "no fires, so there is no slack to tell");
}

TEST_F(WhyPlotTest, TheSamePlotHasTheSameBytesInEachFormat) {
  for (const PlotFormat format : {PlotFormat::PNG, PlotFormat::SVG, PlotFormat::PDF}) {
    const PlotStyle style = StyleOf(format, PlotStyle::WIDE);
    EXPECT_EQ(BytesOf(PlotOf(), style), BytesOf(PlotOf(), style));
  }
}

TEST_F(WhyPlotTest, WordsTellTheChainItsTimeAndThatItIsInferred) {
  const Plot plot = PlotOf();
  EXPECT_EQ(plot.words.title, "Chain that led to this fire (inferred)");
  EXPECT_THAT(plot.words.finding,
              StartsWith("60 fires and 59 messages over 472 of 473 cycles: 25 % work, "));
  EXPECT_THAT(plot.words.finding, HasSubstr("; longest single message 6 cycles"));
  EXPECT_THAT(plot.words.caption, HasSubstr("fire: PE (7, 3), thread 1, cycle 472"));
  EXPECT_THAT(plot.words.caption, HasSubstr("straight lines are not routes"));
  EXPECT_THAT(plot.words.caption, HasSubstr("on the map"));
  PlotStyle slide;
  slide.slide = true;
  EXPECT_THAT(PlotOf(true, Level::PE, slide).words.caption, Not(HasSubstr("on the map")));
  EXPECT_EQ(PlotOf(false).words.title, "Chain that led to the last fire (inferred)");
  EXPECT_THAT(PlotOf(true, Level::DOMAIN).words.caption, HasSubstr("drawn by domain"));
}

TEST_F(WhyPlotTest, NumbersAreTheStopsAndMovesThatAreDrawn) {
  const PlotNumbers numbers = PlotOf().numbers();
  ASSERT_EQ(numbers.tables.size(), 2U);
  EXPECT_EQ(numbers.tables[0].name, "stops");
  EXPECT_EQ(numbers.tables[0].Rows(), 119U);
  EXPECT_EQ(numbers.tables[1].name, "moves");
  EXPECT_EQ(numbers.tables[1].Rows(), 5U) << "of which one goes twice in a round";
  EXPECT_EQ(std::get<uint64_t>(numbers.tables[1].cells[4]), 20U);
}

TEST_F(WhyPlotTest, AnyTextAndSizeMakesAPictureOrIsRefused) {
  const Plot plot = PlotOf();
  for (const bool slide : {false, true}) {
    for (const double text : {0.5, 1.0, 2.0, 4.0}) {
      for (const double width : {60.0, 240.0, 480.0, 504.0, 1000.0}) {
        PlotStyle style = StyleOf(PlotFormat::PNG, width);
        style.text = text;
        style.slide = slide;
        style.height = slide ? PlotStyle::SLIDE_HEIGHT : 0;
        const Result<std::unique_ptr<Canvas>> canvas = DrawPage(plot.words, *plot.body, style);
        EXPECT_TRUE(canvas || !canvas.Why().reason.empty());
        EXPECT_TRUE(canvas || slide || text * 240 > width) << width << " points, text " << text;
      }
    }
  }
}

// One fire is a chain of its own.
class WhyPlotOfOneFireTest : public WhyPlotTest {
 protected:
  WhyPlotOfOneFireTest() : WhyPlotTest({{FIRE_RECORD, 5, 1, {3, 3}, {}}}) {}
};

TEST_F(WhyPlotOfOneFireTest, IsASquareAndARing) {
  const Plot plot = PlotOf(false);
  EXPECT_EQ(plot.words.title, "Chain that led to the last fire");
  EXPECT_THAT(plot.words.finding, StartsWith("1 fire and 0 messages over 0 of "));
  EXPECT_THAT(plot.words.finding, Not(HasSubstr("%")));
  EXPECT_THAT(BytesOf(plot, StyleOf(PlotFormat::PNG, PlotStyle::WIDE)), StartsWith("\x89PNG"));
}

TEST(CauseWordsTest, EachTypeOfEventHasItsName) {
  TraceEvent event = {3, 472, 1, FIRE_RECORD, {7, 3}, {}};
  EXPECT_EQ(CauseEventName(event), "fire");
  EXPECT_EQ(CauseEventWords(event), "fire: PE (7, 3), thread 1, cycle 472");
  event.type = SEND_RECORD;
  event.to = {1, 2};
  EXPECT_EQ(CauseEventName(event), "message");
  EXPECT_EQ(CauseEventWords(event), "message: (7, 3) to (1, 2), thread 1, cycle 472");
  event.type = SWITCH_RECORD;
  EXPECT_EQ(CauseEventName(event), "transmission");
  EXPECT_EQ(CauseEventWords(event), "transmission: switch at (7, 3), thread 1, cycle 472");
}

}  // namespace
}  // namespace marrowfin::testing
