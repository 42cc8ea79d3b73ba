// Pictures of links

#include <gmock/gmock.h>

#include "measure/NumberText.h"
#include "render/plot/CompassPlot.h"
#include "render/plot/LinkPlot.h"
#include "render/plot/LinksOfRun.h"
#include "tests/render/plot/Pictures.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// Messages on a mesh of 4 x 3, each over one link; most go up from (2, 0).
std::string OneLinkEach() {
  std::vector<Event> events;
  for (uint64_t cycle = 0; cycle < 100; ++cycle) {
    events.push_back({FIRE_RECORD, cycle, 0, {0, 0}, {}});
    events.push_back({SEND_RECORD, cycle, 0, {2, 0}, {2, 1}});
    if (cycle % 2 == 0) {
      events.push_back({SEND_RECORD, cycle, 0, {2, 1}, {1, 1}});
    }
    if (cycle % 5 == 0) {
      events.push_back({SEND_RECORD, cycle, 0, {0, 2}, {0, 1}});
      events.push_back({SEND_RECORD, cycle, 0, {3, 0}, {2, 0}});
      events.push_back({SEND_RECORD, cycle, 0, {1, 0}, {2, 0}});
    }
  }
  return Encode(events);
}

// Messages across clusters, with what switches did.
std::string AcrossClusters() {
  std::vector<Event> events;
  for (uint64_t cycle = 0; cycle < 60; ++cycle) {
    const uint32_t to = static_cast<uint32_t>(cycle % 12);
    events.push_back({SEND_RECORD, cycle, 0, {0, 0}, {to, to % 8}});
    events.push_back({SWITCH_RECORD, cycle, 0, {4, 4}, {}});
  }
  return Encode(events);
}

LinkMap MapOf(const Mesh& mesh) {
  LinkMap map;
  map.mesh = mesh;
  map.unit = "load";
  for (std::vector<double>& loads : map.loads) {
    loads.assign(static_cast<size_t>(mesh.nodes.columns) * mesh.nodes.rows, 0);
  }
  return map;
}

Plot PlotOf(std::unique_ptr<PlotBody> body) {
  Plot plot;
  plot.body = std::move(body);
  return plot;
}

class LinkPlotTest : public ::testing::Test {
 protected:
  CountedTrace observed{OneLinkEach(), {PerAxis{1, 1}, PerAxis{1, 1}, PerAxis{4, 3}}};
  CountedTrace modelled{AcrossClusters(), {PerAxis{3, 2}, PerAxis{2, 2}, PerAxis{2, 2}}};
  const PlotStyle light = StyleOf(PlotFormat::PNG, 240);
  const PlotStyle dark = StyleOf(PlotFormat::PNG, 240, Theme::Dark());
};

TEST_F(LinkPlotTest, PicturesAreToThePixelThoseThatWereLookedAt) {
  ExpectKeptPicture("links.png", BytesOf(PlotLinks(observed.run, {}, light), light));
  ExpectKeptPicture("links-switches-dark.png", BytesOf(PlotLinks(modelled.run, {}, dark), dark));
  LinkMap ring = MapOf({{4, 3}, true, true, false});
  for (size_t heading = 0; heading < HEADINGS; ++heading) {
    for (size_t i = 0; i < ring.loads[heading].size(); ++i) {
      ring.loads[heading][i] = static_cast<double>((i * 7 + heading * 5) % 12) / 12;
    }
  }
  const Plot around = PlotOf(std::make_unique<LinkPlot>(ring));
  ExpectKeptPicture("links-around.png", BytesOf(around, light));
  ring.mesh.wrapRows = false;
  EXPECT_NE(BytesOf(around, light), BytesOf(PlotOf(std::make_unique<LinkPlot>(ring)), light));
}

TEST_F(LinkPlotTest, ManyNodesAreFourMapsOfTheBusiestLinkOfACell) {
  LinkMap map = MapOf({{64, 64}, false, false, false});
  for (size_t heading = 0; heading < HEADINGS; ++heading) {
    for (size_t i = 0; i < map.loads[heading].size(); ++i) {
      map.loads[heading][i] = static_cast<double>((i * (heading + 3)) % 97) / 100;
    }
  }
  map.loads[static_cast<size_t>(Heading::UP)][64 * 20 + 30] = 1.2;
  const Plot plot = PlotOf(std::make_unique<CompassPlot>(map, PerAxis{4, 4}));
  ExpectKeptPicture("links-compass.png", BytesOf(plot, light));
  const PlotStyle wide = StyleOf(PlotFormat::PNG, 504);
  ExpectKeptPicture("links-compass-wide.png", BytesOf(plot, wide));
  // Where there is more height than is wanted, the width tells how large a map is.
  PlotStyle tall = light;
  tall.height = 600;
  ExpectKeptPicture("links-compass-tall.png", BytesOf(plot, tall));
  map.loads[0][0] = 0.96;
  EXPECT_NE(BytesOf(plot, light),
            BytesOf(PlotOf(std::make_unique<CompassPlot>(map, PerAxis{4, 4})), light));
  EXPECT_EQ(CompassPlot::GroupFor(map.mesh, {{1, 1}, {4, 4}}, light), (PerAxis{1, 1}));
  EXPECT_EQ(CompassPlot::GroupFor({{256, 256}}, {{1, 1}, {4, 4}}, light), (PerAxis{4, 4}));
  EXPECT_EQ(CompassPlot::GroupFor({{4096, 4096}}, {{1, 1}, {4, 4}}, light), (PerAxis{4, 4}));
}

TEST_F(LinkPlotTest, TheSamePlotHasTheSameBytesInEveryFormat) {
  for (const PlotFormat format : {PlotFormat::PNG, PlotFormat::SVG, PlotFormat::PDF}) {
    const PlotStyle style = StyleOf(format, 240);
    const std::string bytes = BytesOf(PlotLinks(observed.run, {}, style), style);
    EXPECT_EQ(bytes, BytesOf(PlotLinks(observed.run, {}, style), style));
    LinksWish wish;
    wish.scaleMax = 3;
    EXPECT_NE(bytes, BytesOf(PlotLinks(observed.run, wish, style), style));
  }
}

TEST_F(LinkPlotTest, WordsNameTheBusiestLinkAndWhoseWayMessagesGo) {
  const Plot plot = PlotLinks(observed.run, {}, light);
  EXPECT_EQ(plot.words.title, "Load of each link, both directions");
  EXPECT_EQ(plot.words.finding,
            "Link (2, 0)→(2, 1) carries 1 message per cycle, 16.2 times the mean of all 34 links");
  EXPECT_THAT(plot.words.caption, HasSubstr("210 sends, each over one link (observed)"));
  const Plot between = PlotLinks(modelled.run, {}, light);
  EXPECT_THAT(between.words.title, HasSubstr("between switches"));
  EXPECT_THAT(between.words.caption, HasSubstr("modelled: each goes along its row, then along"));
  EXPECT_THAT(between.words.caption, HasSubstr("off the switches' transmissions"));
  LinksWish wish;
  wish.level = Level::CLUSTER;
  EXPECT_EQ(PlotLinks(observed.run, wish, light).words.finding, "One node has no links");
}

TEST_F(LinkPlotTest, NumbersAreThoseOfEveryLinkAndSwitch) {
  const PlotNumbers numbers = PlotLinks(modelled.run, {}, light).numbers();
  const LinkLoads& loads = modelled.run.measures.links.loads;
  ASSERT_EQ(numbers.tables[0].Rows(), loads.mesh.Links());
  uint64_t sum = 0;
  uint64_t expected = 0;
  for (size_t row = 0; row < numbers.tables[0].Rows(); ++row) {
    const uint64_t messages = std::get<uint64_t>(numbers.tables[0].cells[row * 5 + 3]);
    sum += messages;
    EXPECT_EQ(numbers.tables[0].cells[row * 5 + 4], NumberCell(static_cast<double>(messages) / 60));
  }
  for (const std::vector<uint64_t>& messages : loads.messages) {
    for (const uint64_t count : messages) {
      expected += count;
    }
  }
  EXPECT_EQ(sum, expected);
  EXPECT_GT(sum, 0U);
  EXPECT_EQ(numbers.tables[1].name, "switches");
  EXPECT_EQ(numbers.tables[1].Rows(), 6U);
  EXPECT_EQ(PlotLinks(observed.run, {}, light).numbers().tables[1].Rows(), 0U);
}

TEST_F(LinkPlotTest, LoadsAreSharesOfWhatTheCompanionSaysThatLinksAndSwitchesTake) {
  PlottedRun run = modelled.run;
  run.measures = MeasuresOf(*run.counts, {2, 4, {}});
  const Plot plot = PlotLinks(run, {}, light);
  EXPECT_THAT(plot.words.finding, HasSubstr(" of its capacity, "));
  EXPECT_THAT(plot.words.caption, HasSubstr("capacity 2 messages per cycle"));
  EXPECT_THAT(plot.words.caption, HasSubstr("in nodes: share of what the switch can pass on"));
  // 60 transmissions in 60 cycles, of a corner with four ports and two links that take two each.
  const NumberTable switches = plot.numbers().tables[1];
  EXPECT_EQ(switches.cells[2], NumberCell(uint64_t{60}));
  EXPECT_EQ(switches.cells[3], NumberCell(12.0));
  EXPECT_EQ(switches.cells[4], NumberCell(1 / 12.0));
  const NumberTable plain = PlotLinks(modelled.run, {}, light).numbers().tables[1];
  EXPECT_EQ(plain.cells[3], NumberCell(1.0));
  EXPECT_EQ(plain.cells[4], NumberCell(1.0));
  EXPECT_THAT(PlotLinks(modelled.run, {}, light).words.caption,
              HasSubstr("in nodes: transmissions per cycle"));
}

TEST_F(LinkPlotTest, LinksBetweenElementsOfSeveralClustersAreToldWhereTheyWereCounted) {
  RunQuestion question;
  question.shape = modelled.run.counts->Places().Shape();
  question.elementLinks = true;
  const Result<RunCounts> counts = CountRun(*modelled.opened.trace, nullptr, question);
  ASSERT_TRUE(counts);
  const LinkMeasures links = LinksOf(*counts, 60, 1, Level::PE);
  EXPECT_FALSE(links.observed);
  EXPECT_EQ(links.links, 2U * (11 * 8 + 12 * 7));
  // Every message leaves (0, 0) along its row, but the five to column 0, which stays where it is.
  EXPECT_EQ(links.loads.Of({0, 0}, Heading::RIGHT), 55U);
  EXPECT_EQ(links.loads.Of({0, 0}, Heading::UP), 0U);
  EXPECT_EQ(links.loads.Of({9, 0}, Heading::RIGHT), 10U);
}

TEST_F(LinkPlotTest, NumbersStandOnceAndWithinThePageAtAnySizeOfText) {
  for (const double text : {0.5, 1.0, 2.0, 4.0}) {
    PlotStyle style = StyleOf(PlotFormat::PNG, 504);
    style.text = text;
    EXPECT_THAT(BytesOf(PlotLinks(observed.run, {}, style), style), StartsWith("\x89PNG"));
  }
  PlotStyle small = light;
  small.width = 110;
  EXPECT_THAT(BytesOf(PlotLinks(observed.run, {}, small), small), StartsWith("\x89PNG"));
  small.height = 260;
  EXPECT_THAT(BytesOf(PlotLinks(observed.run, {}, small), small), StartsWith("\x89PNG"));
}

TEST_F(LinkPlotTest, ARangeWithoutMessagesSaysSo) {
  RunQuestion question;
  question.shape = observed.run.counts->Places().Shape();
  question.filter.thread = 99;
  const Result<RunCounts> none = CountRun(*observed.opened.trace, nullptr, question);
  ASSERT_TRUE(none);
  PlottedRun run = observed.run;
  run.counts = &*none;
  run.measures = MeasuresOf(*none);
  const Plot plot = PlotLinks(run, {}, light);
  EXPECT_EQ(plot.words.finding, "no messages over links in cycles 0 to 99");
  EXPECT_THAT(BytesOf(plot, light), StartsWith("\x89PNG"));
}

TEST_F(LinkPlotTest, HottestLinksAreToldInOrderAndEqualOnesByTheirPlace) {
  LinkMap map = MapOf({{3, 2}, false, false, false});
  map.loads[static_cast<size_t>(Heading::UP)][2] = 5;
  map.loads[static_cast<size_t>(Heading::RIGHT)][3] = 5;
  map.loads[static_cast<size_t>(Heading::LEFT)][1] = 7;
  const std::vector<LoadOfLink> hottest = HottestOf(map, 4);
  ASSERT_EQ(hottest.size(), 3U);
  EXPECT_EQ(hottest[0].node, (Place{1, 0}));
  EXPECT_EQ(hottest[1].node, (Place{2, 0}));
  EXPECT_EQ(hottest[2].node, (Place{0, 1}));
  EXPECT_EQ(AlikeText(0.5, 0.744), "0.50");
  EXPECT_EQ(AlikeText(3, 12.4), "3");
  EXPECT_EQ(AlikeText(0.04, 1.36, 3), "0.04");
}

}  // namespace
}  // namespace marrowfin::testing
