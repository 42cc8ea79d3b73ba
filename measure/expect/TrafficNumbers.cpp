#include "measure/expect/TrafficNumbers.h"

#include "measure/expect/AskedUnits.h"

namespace marrowfin {
namespace {

typedef std::vector<PlacedNumber> Numbers;

uint64_t Messages(const RunFacts& facts, size_t from, size_t to) {
  return facts.counts->Traffic()[from * ShapeOf(facts).Switches() + to];
}

// The clusters that messages were asked for to go to; all where none were.
std::vector<size_t> TargetsOf(const RunFacts& facts) {
  const ArrayShape& shape = ShapeOf(facts);
  const std::optional<Region> there = facts.to ? facts.to->In(shape) : std::nullopt;
  return facts.to && !there ? std::vector<size_t>() : UnitsIn(shape, Level::CLUSTER, there);
}

Numbers OfPairs(const RunFacts& facts, double by) {
  if (!HasTraffic(facts)) {
    return {};
  }
  const uint32_t columns = ShapeOf(facts).clusters.columns;
  const std::vector<size_t> targets = TargetsOf(facts);
  Numbers numbers;
  for (const size_t from : UnitsIn(ShapeOf(facts), Level::CLUSTER, PositionsOf(facts))) {
    for (const size_t to : targets) {
      if (to != from) {
        PlacedNumber told;
        told.at = PlaceOf(from, columns);
        told.to = PlaceOf(to, columns);
        told.value = static_cast<double>(Messages(facts, from, to)) / by;
        numbers.push_back(told);
      }
    }
  }
  return numbers;
}

Numbers WithinClusters(const RunFacts& facts) {
  if (!HasTraffic(facts)) {
    return {};
  }
  Numbers numbers;
  for (const size_t i : UnitsIn(ShapeOf(facts), Level::CLUSTER, PositionsOf(facts))) {
    PlacedNumber told;
    told.at = PlaceOf(i, ShapeOf(facts).clusters.columns);
    told.value = static_cast<double>(Messages(facts, i, i));
    numbers.push_back(told);
  }
  return numbers;
}

}  // namespace

bool HasTraffic(const RunFacts& facts) { return !facts.counts->Traffic().empty(); }

std::vector<Measure> TrafficMeasures() {
  return {OfUnit(MeasureOf::CLUSTER, "inner", "messages",
                 "messages that its elements sent to its elements", LookAt::SENDS, WithinClusters),
          OfUnit(MeasureOf::TRAFFIC, "messages", "messages",
                 "messages that the elements of a cluster sent to those of another one",
                 LookAt::SENDS, [](const RunFacts& facts) { return OfPairs(facts, 1); }),
          OfUnit(MeasureOf::TRAFFIC, "rate", "1/cycle", "the same a cycle", LookAt::SENDS,
                 [](const RunFacts& facts) { return OfPairs(facts, facts.measures->cycles); })};
}

}  // namespace marrowfin
