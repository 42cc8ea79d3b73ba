#include "measure/RunDiff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/measure/MeasuredTrace.h"

namespace marrowfin::testing {
namespace {

using ::testing::Optional;

MeasuredRun AsMeasured(const MeasuredTrace& trace) { return {trace.counts, trace.measures}; }

const Change& Of(const std::vector<Change>& changes, const std::string& name) {
  const auto found = std::find_if(changes.begin(), changes.end(),
                                  [&](const Change& change) { return name == change.name; });
  EXPECT_NE(found, changes.end()) << name;
  return *found;
}

std::vector<Event> Random(unsigned seed, const ArrayShape& shape) {
  std::mt19937 random(seed);
  RandomTraceOptions options;
  options.records = 3000;
  options.shape = shape;
  return RandomEvents(random, options);
}

TEST(RunDiffTest, NothingChangesFromARunToItself) {
  const MeasuredTrace run(Random(1, {2, 2, 2}), {2, 2, 2});
  std::set<std::string> names;
  for (const Change& change : ChangesOf(AsMeasured(run), AsMeasured(run))) {
    EXPECT_TRUE(names.insert(change.name).second) << change.name << " twice";
    EXPECT_EQ(change.a, change.b) << change.name;
    EXPECT_EQ(change.Difference().value_or(0), 0) << change.name;
  }
  EXPECT_GT(names.size(), 35U);
  for (int measure = 0; measure <= static_cast<int>(UnitMeasure::TRANSMISSIONS); ++measure) {
    const UnitSummary summary = SummaryOf(UnitChangesOf(
        AsMeasured(run), AsMeasured(run), static_cast<UnitMeasure>(measure), Level::PE));
    EXPECT_EQ(summary.up + summary.down, 0U);
    EXPECT_GT(summary.same, 0U);
    EXPECT_FALSE(summary.mostUp || summary.mostDown);
  }
}

TEST(RunDiffTest, EveryChangeHasTwoNamesOneForProgramsAndOneForPeople) {
  const MeasuredTrace run(Random(1, {2, 2, 2}), {2, 2, 2});
  std::string words;
  for (const Change& change : ChangesOf(AsMeasured(run), AsMeasured(run))) {
    words += change.name + ": " + change.words + "\n";
  }
  EXPECT_EQ(words, R"(cycles: cycles
records: records
fires: fires
firesPerCycle: fires per cycle
utilisation: utilisation
largestUtilisation: largest of a PE
elementRate: fires per PE and cycle
busiestElement: busiest PE
idleElements: PEs that never fire
elementMaxOverMean: PEs, max/mean
elementGini: PEs, Gini
elementCov: PEs, CoV
clusterMaxOverMean: clusters, max/mean
clusterGini: clusters, Gini
clusterCov: clusters, CoV
longestGap: longest gap
peakFires: fires of the busiest cycle
quietCycles: longest quiet spell
phases: phases
outside: places outside the array
sends: messages
linkLoad: link load, mean
busiestLink: link load, largest
unusedLinks: links unused
linkMaxOverMean: links, max/mean
linkGini: links, Gini
linkCov: links, CoV
bisectionRate: bisection, messages a cycle
bisectionShare: bisection, share
modelError: model error
transmissions: transmissions
switchRate: transmissions per switch and cycle
busiestSwitch: busiest switch
switchLoad: switch load, mean
busiestSwitchLoad: switch load, largest
idleSwitches: switches that never transmit
switchMaxOverMean: switches, max/mean
switchGini: switches, Gini
switchCov: switches, CoV
distanceMean: distance, mean
distanceP50: distance, 50 % within
distanceP95: distance, 95 % within
distanceP99: distance, 99 % within
distanceMax: distance, largest
)");
}

TEST(RunDiffTest, AChangeIsWhatTheFirstRunHasMoreThanTheSecond) {
  const MeasuredTrace a({{FIRE_RECORD, 0, 0, {0, 0}, {}},
                         {FIRE_RECORD, 1, 0, {0, 0}, {}},
                         {FIRE_RECORD, 2, 0, {1, 0}, {}},
                         {FIRE_RECORD, 3, 0, {0, 0}, {}}},
                        {1, 1, 2});
  const MeasuredTrace b({{FIRE_RECORD, 0, 0, {0, 0}, {}}, {FIRE_RECORD, 1, 0, {1, 0}, {}}},
                        {1, 1, 2});
  const std::vector<Change> changes = ChangesOf(AsMeasured(a), AsMeasured(b));
  EXPECT_THAT(Of(changes, "cycles").Difference(), Optional(2));
  EXPECT_THAT(Of(changes, "cycles").Relative(), Optional(1));
  EXPECT_THAT(Of(changes, "fires").Difference(), Optional(2));
  EXPECT_THAT(Of(changes, "firesPerCycle").Difference(), Optional(0));
  EXPECT_THAT(Of(changes, "busiestElement").Difference(), Optional(0.25));
  EXPECT_FALSE(Of(changes, "sends").Relative()) << "there were none";
  EXPECT_FALSE(Of(changes, "distanceMean").Difference());
  const std::vector<UnitChange> units =
      UnitChangesOf(AsMeasured(a), AsMeasured(b), UnitMeasure::FIRES, Level::PE);
  ASSERT_EQ(units.size(), 4U);
  EXPECT_DOUBLE_EQ(units[0].Difference(), 0.25);
  EXPECT_DOUBLE_EQ(units[1].Difference(), -0.25);
  const UnitSummary summary = SummaryOf(units);
  EXPECT_EQ(summary.up, 1U);
  EXPECT_EQ(summary.down, 1U);
  EXPECT_EQ(summary.same, 2U);
  EXPECT_EQ(summary.mostUp->at, (Place{0, 0}));
  EXPECT_EQ(summary.mostDown->at, (Place{1, 0}));
  EXPECT_DOUBLE_EQ(summary.meanA, 0.25);
}

TEST(RunDiffTest, WhatRoundingMakesOfTheSameNumberIsNoChange) {
  Change change;
  change.a = 0.1 + 0.2;
  change.b = 0.3;
  EXPECT_NE(change.a, change.b);
  EXPECT_THAT(change.Difference(), Optional(0));
  EXPECT_THAT(change.Relative(), Optional(0));
  change.b = 0.3000000001;
  EXPECT_NE(change.Difference(), 0);
}

TEST(RunDiffTest, EveryUnitIsTheDifferenceOfWhatEachRunHasThere) {
  const ArrayShape shape = {2, 2, 2};
  const MeasuredTrace a(Random(2, shape), shape);
  const MeasuredTrace b(Random(3, shape), shape);
  for (const Level level : {Level::PE, Level::DOMAIN, Level::CLUSTER}) {
    const std::vector<double> inA =
        Reduce(shape, level, Reduction::MEAN,
               ValuesOf(a.counts, PlaceMeasure::RECEIVES, a.measures.cycles));
    const std::vector<double> inB =
        Reduce(shape, level, Reduction::MEAN,
               ValuesOf(b.counts, PlaceMeasure::RECEIVES, b.measures.cycles));
    const std::vector<UnitChange> units =
        UnitChangesOf(AsMeasured(a), AsMeasured(b), UnitMeasure::RECEIVES, level);
    ASSERT_EQ(units.size(), inA.size());
    for (size_t i = 0; i < units.size(); ++i) {
      EXPECT_DOUBLE_EQ(units[i].Difference(), inA[i] - inB[i]);
      EXPECT_EQ(units[i].at.row * UnitsOf(shape, level).columns + units[i].at.column, i);
    }
  }
  const std::vector<UnitChange> gaps =
      UnitChangesOf(AsMeasured(a), AsMeasured(b), UnitMeasure::LONGEST_GAP, Level::CLUSTER);
  EXPECT_EQ(gaps.size(), 4U);
  double longest = 0;
  for (const UnitChange& gap : gaps) {
    longest = std::max(longest, *gap.a);
  }
  EXPECT_EQ(longest, a.measures.longestGap->value);
  EXPECT_EQ(
      UnitChangesOf(AsMeasured(a), AsMeasured(b), UnitMeasure::TRANSMISSIONS, Level::PE).size(),
      4U);
}

TEST(RunDiffTest, OfDifferentArraysUnitsThatOneLacksAreToldAndNotCompared) {
  const PerAxis one = {1, 1};
  const MeasuredTrace a({{FIRE_RECORD, 0, 0, {2, 0}, {}}}, {one, one, PerAxis{3, 1}});
  const MeasuredTrace b({{FIRE_RECORD, 0, 0, {0, 1}, {}}}, {one, one, PerAxis{2, 2}});
  const std::vector<UnitChange> units =
      UnitChangesOf(AsMeasured(a), AsMeasured(b), UnitMeasure::FIRES, Level::PE);
  ASSERT_EQ(units.size(), 5U) << "two in both, one of a row of three, two of the other row";
  const UnitSummary summary = SummaryOf(units);
  EXPECT_EQ(summary.onlyA, 1U);
  EXPECT_EQ(summary.onlyB, 2U);
  EXPECT_EQ(summary.same, 2U);
  EXPECT_DOUBLE_EQ(summary.meanA, 0);
}

TEST(RunDiffTest, OfAHighArrayAndAWideOneOnlyTheUnitsThatAreThereAreLookedAt) {
  const PerAxis one = {1, 1};
  const std::vector<Event> fire = {{FIRE_RECORD, 0, 0, {0, 0}, {}}};
  const MeasuredTrace a(fire, {one, one, PerAxis{200000, 1}});
  const MeasuredTrace b(fire, {one, one, PerAxis{1, 200000}});
  const std::vector<UnitChange> units =
      UnitChangesOf(AsMeasured(a), AsMeasured(b), UnitMeasure::FIRES, Level::PE);
  EXPECT_EQ(units.size(), 399999U);
}

TEST(RunDiffTest, TrafficAndLoadsOfSwitchesChangeByClusterWhereBothRunsTellThem) {
  const ArrayShape shape({2, 1}, {1, 1}, {2, 2});
  const MeasuredTrace a({{SEND_RECORD, 0, 0, {0, 0}, {2, 0}},
                         {SEND_RECORD, 1, 0, {0, 0}, {3, 0}},
                         {SWITCH_RECORD, 1, 0, shape.SwitchOf({1, 0}), {}}},
                        shape);
  const MeasuredTrace b(
      {{SEND_RECORD, 0, 0, {0, 0}, {1, 0}}, {SWITCH_RECORD, 3, 0, shape.SwitchOf({1, 0}), {}}},
      shape);
  const std::vector<TrafficChange> traffic = TrafficChangesOf(AsMeasured(a), AsMeasured(b));
  ASSERT_EQ(traffic.size(), 2U);
  EXPECT_EQ(traffic[0].to, (Place{0, 0}));
  EXPECT_EQ(traffic[0].b, 0.25);
  EXPECT_EQ(traffic[1].to, (Place{1, 0}));
  EXPECT_EQ(traffic[1].a, 1);
  EXPECT_EQ(traffic[1].b, 0);
  EXPECT_TRUE(
      UnitChangesOf(AsMeasured(a), AsMeasured(b), UnitMeasure::SWITCH_LOAD, Level::PE).empty())
      << "nothing tells what switches can pass on";
  About about;
  about.switches = AboutSwitches{std::nullopt, 2, {}};
  const RunMeasures loadedA = MeasuresOf(a.counts, NetworkOf(&about));
  const RunMeasures loadedB = MeasuresOf(b.counts, NetworkOf(&about));
  const std::vector<UnitChange> loads =
      UnitChangesOf({a.counts, loadedA}, {b.counts, loadedB}, UnitMeasure::SWITCH_LOAD, Level::PE);
  ASSERT_EQ(loads.size(), 2U);
  EXPECT_EQ(loads[1].a, 0.25);
  EXPECT_EQ(loads[1].b, 0.125);
  const MeasuredTrace other({{SEND_RECORD, 0, 0, {0, 0}, {1, 0}}}, {1, 1, 4});
  EXPECT_TRUE(TrafficChangesOf(AsMeasured(a), AsMeasured(other)).empty()) << "other clusters";
}

}  // namespace
}  // namespace marrowfin::testing
