#include "measure/RunMeasures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "tests/support/Command.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::Optional;

RunMeasures Measured(const std::vector<Event>& events, const ArrayShape& shape,
                     const EventFilter& filter = {}, double capacity = 1) {
  const Opened opened(Encode(events));
  RunQuestion question;
  question.shape = shape;
  question.filter = filter;
  const Result<RunCounts> counts = CountRun(*opened.trace, opened.index.get(), question);
  EXPECT_TRUE(counts) << counts.Why().Text();
  NetworkModel model;
  model.linkMessages = capacity;
  return MeasuresOf(*counts, model);
}

// Eleven cycles on 2 x 2 elements.
const std::vector<Event>& Small() {
  static const std::vector<Event> events = {
      {FIRE_RECORD, 10, 0, {0, 0}, {}},     {FIRE_RECORD, 10, 1, {0, 0}, {}},
      {SEND_RECORD, 10, 0, {0, 0}, {1, 0}}, {FIRE_RECORD, 11, 0, {0, 0}, {}},
      {SEND_RECORD, 11, 0, {0, 0}, {1, 0}}, {FIRE_RECORD, 12, 0, {1, 0}, {}},
      {SEND_RECORD, 19, 0, {1, 0}, {1, 1}}, {FIRE_RECORD, 20, 0, {1, 0}, {}}};
  return events;
}

TEST(RunMeasuresTest, RatesAreByCycleOfTheRangeAndIdleElementsCount) {
  const RunMeasures measures = Measured(Small(), {1, 1, 2});
  EXPECT_EQ(measures.range.first, 10U);
  EXPECT_EQ(measures.range.last, 20U);
  EXPECT_DOUBLE_EQ(measures.cycles, 11);
  EXPECT_EQ(measures.records, 8U);
  EXPECT_EQ(measures.fires, 5U);
  EXPECT_EQ(measures.sends, 3U);
  EXPECT_DOUBLE_EQ(measures.firesPerCycle, 5 / 11.0);
  EXPECT_DOUBLE_EQ(measures.elements.rate, 5 / 11.0 / 4);
  EXPECT_EQ(measures.elements.never, 2U);
  EXPECT_THAT(measures.elements.busiest,
              ElementsAre(PlaceValue{{0, 0}, 3 / 11.0}, PlaceValue{{1, 0}, 2 / 11.0}));
  EXPECT_THAT(measures.elements.quietest,
              ElementsAre(PlaceValue{{1, 0}, 2 / 11.0}, PlaceValue{{0, 0}, 3 / 11.0}));
}

TEST(RunMeasuresTest, OfARegionItsUnitsAloneAreTold) {
  const Opened opened(Encode(Small()));
  RunQuestion question;
  question.shape = {1, 1, 2};
  question.filter.region = Region{{1, 0}, {1, 1}};
  const Result<RunCounts> counts = CountRun(*opened.trace, opened.index.get(), question);
  ASSERT_TRUE(counts) << counts.Why().Text();
  const RunMeasures measures = MeasuresOf(*counts, {}, question.filter.region);
  EXPECT_EQ(measures.elements.units, 2U);
  EXPECT_EQ(measures.elements.never, 1U);
  EXPECT_DOUBLE_EQ(measures.elements.rate, 2 / 11.0 / 2);
  EXPECT_DOUBLE_EQ(measures.utilisation, 2 / 11.0 / 2);
  EXPECT_THAT(measures.elements.busiest, ElementsAre(PlaceValue{{1, 0}, 2 / 11.0}));
  EXPECT_EQ(measures.switches.units, 0U) << "that of the cluster is at (4, 4)";
  EXPECT_EQ(measures.switches.rate, 0);
}

TEST(RunMeasuresTest, RegionsHaveTheElementsClustersAndSwitchesThatLieInThem) {
  const ArrayShape shape({2, 2}, {1, 1}, {8, 8});
  const Region corner = {{7, 7}, {8, 7}};
  EXPECT_THAT(UnitsIn(shape, Level::PE, corner), ElementsAre(7 * 16 + 7, 7 * 16 + 8));
  EXPECT_THAT(UnitsIn(shape, Level::PE, Region{{15, 15}, {99, 99}}), ElementsAre(255));
  EXPECT_EQ(UnitsIn(shape, Level::PE, std::nullopt).size(), 256U);
  EXPECT_THAT(UnitsIn(shape, Level::CLUSTER, corner), ElementsAre(0, 1));
  EXPECT_THAT(UnitsIn(shape, Level::CLUSTER, std::nullopt), ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(UnitsIn({2, 2, 2}, Level::DOMAIN, Region{{3, 2}, {4, 3}}), ElementsAre(5, 6));
  EXPECT_THAT(UnitsIn(shape, Level::PE, Region{{16, 0}, {99, 99}}), ElementsAre());
  EXPECT_THAT(SwitchesIn(shape, corner), ElementsAre());
  EXPECT_THAT(SwitchesIn(shape, Region{{4, 4}, {12, 4}}), ElementsAre(0, 1));
}

TEST(RunMeasuresTest, TwoFiresInACycleAreOneCycleOfUse) {
  const RunMeasures measures = Measured(Small(), {1, 1, 2});
  EXPECT_DOUBLE_EQ(measures.utilisation, (2 + 2) / 11.0 / 4);
  EXPECT_THAT(measures.mostUtilised,
              ElementsAre(PlaceValue{{0, 0}, 2 / 11.0}, PlaceValue{{1, 0}, 2 / 11.0}));
}

TEST(RunMeasuresTest, SpellsAndPeaksAreToldWithTheirCycle) {
  const RunMeasures measures = Measured(Small(), {1, 1, 2});
  EXPECT_THAT(measures.longestGap, Optional(PlaceValue{{1, 0}, 8}));
  EXPECT_EQ(measures.longestGapEnd, 20U);
  EXPECT_EQ(measures.peakFires, 2U);
  EXPECT_EQ(measures.peakCycle, 10U);
  EXPECT_EQ(measures.quietCycles, 7U);
  EXPECT_EQ(measures.quietFirst, 13U);
}

TEST(RunMeasuresTest, MessagesBetweenNeighboursAloneAreObservedOnTheirLinks) {
  const RunMeasures measures = Measured(Small(), {1, 1, 2}, {}, 2);
  EXPECT_TRUE(measures.links.observed);
  EXPECT_EQ(measures.links.level, Level::PE);
  EXPECT_EQ(measures.links.links, 8U);
  EXPECT_EQ(measures.links.unused, 6U);
  ASSERT_EQ(measures.links.busiest.size(), 2U);
  EXPECT_EQ(measures.links.busiest[0].node, (Place{0, 0}));
  EXPECT_EQ(measures.links.busiest[0].heading, Heading::RIGHT);
  EXPECT_DOUBLE_EQ(measures.links.busiest[0].load, 2 / (11.0 * 2));
  EXPECT_EQ(measures.links.bisection.messages, 2U);
  EXPECT_DOUBLE_EQ(measures.links.bisectionRate, 2 / 11.0);
  EXPECT_DOUBLE_EQ(measures.links.bisectionShare, 2 / 11.0 / (2 * 4));
  EXPECT_FALSE(measures.links.modelError);
}

// Two rows of three clusters of a switch each, in ten cycles: (0, 0) transmits 30 times, (1, 0) 20.
RunMeasures OfSwitches(const NetworkModel& model, const std::optional<Region>& region = {}) {
  std::vector<Event> events;
  for (uint64_t cycle = 0; cycle < 10; ++cycle) {
    events.insert(events.end(), 3, {SWITCH_RECORD, cycle, 0, {4, 4}, {}});
    events.insert(events.end(), 2, {SWITCH_RECORD, cycle, 0, {12, 4}, {}});
  }
  const Opened opened(Encode(events));
  RunQuestion question;
  question.shape = ArrayShape(PerAxis{3, 2}, PerAxis{1, 1}, PerAxis{8, 8});
  const Result<RunCounts> counts = CountRun(*opened.trace, opened.index.get(), question);
  EXPECT_TRUE(counts) << counts.Why().Text();
  return MeasuresOf(*counts, model, region);
}

TEST(RunMeasuresTest, SwitchAtTheEdgeHasFewerLinksAndSoPassesLessOn) {
  const RunMeasures measures = OfSwitches({2, 4, {}});
  ASSERT_TRUE(measures.switchLoads);
  EXPECT_THAT(measures.switchLoads->capacities, ElementsAre(12, 14, 12, 12, 14, 12));
  EXPECT_THAT(measures.switchLoads->busiest,
              ElementsAre(PlaceValue{{0, 0}, 3 / 12.0}, PlaceValue{{1, 0}, 2 / 14.0}));
  EXPECT_DOUBLE_EQ(measures.switchLoads->mean, (3 / 12.0 + 2 / 14.0) / 6);
}

TEST(RunMeasuresTest, SwitchPassesOnNoMoreThanIsToldWhateverItsPorts) {
  EXPECT_THAT(OfSwitches({1, 1, 3.5}).switchLoads->capacities, ElementsAre(3, 3.5, 3, 3, 3.5, 3));
  const RunMeasures measures = OfSwitches({1, {}, 5});
  EXPECT_THAT(measures.switchLoads->capacities, ElementsAre(5, 5, 5, 5, 5, 5));
  EXPECT_DOUBLE_EQ(measures.switchLoads->busiest[0].value, 3 / 5.0);
  EXPECT_DOUBLE_EQ(measures.switches.busiest[0].value, 3) << "rates are no shares";
}

TEST(RunMeasuresTest, LoadsOfSwitchesAreToldOfTheRegionAndWhereTheModelTellsThemAlone) {
  EXPECT_FALSE(OfSwitches({}).switchLoads);
  const RunMeasures measures = OfSwitches({1, {}, 5}, Region{{12, 4}, {12, 4}});
  EXPECT_DOUBLE_EQ(measures.switchLoads->mean, 2 / 5.0);
  EXPECT_EQ(measures.switchLoads->busiest.size(), 1U);
  // A switch without ports and links passes nothing on.
  EXPECT_FALSE(Measured(Small(), {1, 1, 2}).switchLoads);
  EXPECT_EQ((NetworkModel{1, 0, {}}).OfSwitch({{1, 1}, true, true}, {0, 0}), std::nullopt);
  EXPECT_EQ((NetworkModel{1, 0, {}}).OfSwitch({{2, 1}, true, true}, {0, 0}), 2);
}

TEST(RunMeasuresTest, ModelOfTheNetworkIsThatOfTheCompanion) {
  EXPECT_EQ(NetworkOf(nullptr), NetworkModel());
  About about;
  EXPECT_EQ(NetworkOf(&about), NetworkModel());
  about.links = AboutLinks{"xy", 16, 1, 0.5};
  about.switches = AboutSwitches{4, 8, 1};
  EXPECT_EQ(NetworkOf(&about), (NetworkModel{0.5, 4, 8}));
}

TEST(RunMeasuresTest, FarMessagesAreModelledBetweenTheSwitchesOfClusters) {
  std::vector<Event> events = {{SEND_RECORD, 0, 0, {0, 0}, {15, 15}}};
  for (const Place at : {Place{4, 4}, Place{12, 4}, Place{12, 12}}) {
    events.push_back({SWITCH_RECORD, 1, 0, at, {}});
  }
  RunMeasures measures = Measured(events, {2, 2, 4});
  EXPECT_FALSE(measures.links.observed);
  EXPECT_EQ(measures.links.level, Level::CLUSTER);
  EXPECT_EQ(measures.transmissions, 3U);
  EXPECT_THAT(measures.links.modelError, Optional(0.0));
  ASSERT_EQ(measures.links.busiest.size(), 2U);
  EXPECT_EQ(measures.links.busiest[0].heading, Heading::RIGHT);
  EXPECT_EQ(measures.links.busiest[1].heading, Heading::UP);
  events[2].at = {4, 12};  // the other way round
  measures = Measured(events, {2, 2, 4});
  EXPECT_THAT(measures.links.modelError, Optional(2 / 3.0));
}

TEST(RunMeasuresTest, ACycleRangeIsWhatRatesAreDividedBy) {
  EventFilter filter;
  filter.firstCycle = 11;
  filter.lastCycle = 14;
  const RunMeasures measures = Measured(Small(), {1, 1, 2}, filter);
  EXPECT_DOUBLE_EQ(measures.cycles, 4);
  EXPECT_DOUBLE_EQ(measures.firesPerCycle, 2 / 4.0);
}

TEST(RunMeasuresTest, MapsHaveOneValueForEachElement) {
  const Opened opened(Encode(Small()));
  RunQuestion question;
  question.shape = {1, 1, 2};
  const Result<RunCounts> counts = CountRun(*opened.trace, nullptr, question);
  ASSERT_TRUE(counts);
  EXPECT_THAT(ValuesOf(*counts, PlaceMeasure::FIRES, 1), ElementsAre(3, 2, 0, 0));
  EXPECT_THAT(ValuesOf(*counts, PlaceMeasure::SENDS, 1), ElementsAre(2, 1, 0, 0));
  EXPECT_THAT(ValuesOf(*counts, PlaceMeasure::RECEIVES, 1), ElementsAre(0, 2, 0, 1));
  EXPECT_THAT(ValuesOf(*counts, PlaceMeasure::UTILISATION, 4), ElementsAre(0.5, 0.5, 0, 0));
  EXPECT_THAT(ValuesOf(*counts, PlaceMeasure::IDLE, 4), ElementsAre(0.5, 0.5, 1, 1));
}

// The simulator routes as the model does, so its switches transmit just what is modelled.
TEST(RunMeasuresTest, TheModelPassesAsManyMessagesAsTheSimulatorsSwitchesTransmit) {
  const TempDir folder;
  for (const char* const program : {"stencil", "matmul", "sort"}) {
    const std::string trace = folder.File(std::string(program) + ".trace");
    const CommandResult ran =
        RunCommand({MARROWFIN_SIM, "-program", program, "-outFilename", trace});
    ASSERT_EQ(ran.exitStatus, 0) << ran.err;
    const std::unique_ptr<TraceSource> source = OpenTrace(trace);
    RunQuestion question;
    question.shape = ArrayShape();
    const Result<RunCounts> counts = CountRun(*source, nullptr, question);
    ASSERT_TRUE(counts) << counts.Why().Text();
    const RunMeasures measures = MeasuresOf(*counts);
    EXPECT_GT(measures.transmissions, 1000U) << program;
    EXPECT_THAT(measures.links.modelError, Optional(0.0)) << program;
  }
}

}  // namespace
}  // namespace marrowfin::testing
