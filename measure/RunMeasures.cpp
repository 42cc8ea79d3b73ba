#include "measure/RunMeasures.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace marrowfin {
namespace {

constexpr Heading ALL_HEADINGS[] = {Heading::RIGHT, Heading::LEFT, Heading::UP, Heading::DOWN};

// The numbers of the values that come first in an order, at most MOST_TOLD of them.
template <class Before>
std::vector<size_t> FirstOf(size_t count, Before before) {
  std::vector<size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), size_t{0});
  const size_t told = std::min(count, MOST_TOLD);
  std::partial_sort(numbers.begin(), numbers.begin() + static_cast<std::ptrdiff_t>(told),
                    numbers.end(), before);
  numbers.resize(told);
  return numbers;
}

// What every unit of a kind did, and which of them are meant.
struct Units {
  std::vector<double> values;  // row by row
  uint32_t columns;
  std::vector<size_t> meant;  // ascending

  PlaceValue At(size_t i) const {
    return {{static_cast<uint32_t>(i % columns), static_cast<uint32_t>(i / columns)}, values[i]};
  }

  double Mean() const {
    double sum = 0;
    for (const size_t i : meant) {
      sum += values[i];
    }
    return meant.empty() ? 0 : sum / static_cast<double>(meant.size());
  }
};

// Those that did something, largest value first, then lower row, then column: that is the order of
// their numbers.
std::vector<PlaceValue> Largest(const Units& units) {
  const auto value = [&](size_t i) { return units.values[units.meant[i]]; };
  std::vector<PlaceValue> told;
  for (const size_t i : FirstOf(units.meant.size(), [&](size_t a, size_t b) {
         return value(a) != value(b) ? value(a) > value(b) : a < b;
       })) {
    if (value(i) > 0) {
      told.push_back(units.At(units.meant[i]));
    }
  }
  return told;
}

std::vector<PlaceValue> Smallest(const Units& units) {
  const auto value = [&](size_t i) { return units.values[units.meant[i]]; };
  const auto key = [&](size_t i) { return value(i) > 0 ? value(i) : INFINITY; };
  std::vector<PlaceValue> told;
  for (const size_t i : FirstOf(units.meant.size(), [&](size_t a, size_t b) {
         return key(a) != key(b) ? key(a) < key(b) : a < b;
       })) {
    if (value(i) > 0) {
      told.push_back(units.At(units.meant[i]));
    }
  }
  return told;
}

Usage UsageOf(Units units, double cycles) {
  Usage usage;
  std::vector<double> counts;
  for (const size_t i : units.meant) {
    counts.push_back(units.values[i]);
  }
  usage.units = counts.size();
  usage.total = std::accumulate(counts.begin(), counts.end(), 0.0);
  usage.rate = counts.empty() ? 0 : usage.total / cycles / static_cast<double>(counts.size());
  usage.never = static_cast<uint64_t>(std::count(counts.begin(), counts.end(), 0.0));
  usage.imbalance = ImbalanceOf(counts);
  for (double& value : units.values) {
    value /= cycles;
  }
  usage.busiest = Largest(units);
  usage.quietest = Smallest(units);
  return usage;
}

std::vector<double> AsDoubles(const std::vector<uint64_t>& counts) {
  return {counts.begin(), counts.end()};
}

double ModelError(const RunCounts& counts, const LinkLoads& loads) {
  const std::vector<uint64_t>& transmissions = counts.Places().Transmissions();
  double apart = 0;
  double all = 0;
  for (size_t i = 0; i < transmissions.size(); ++i) {
    const double passes = static_cast<double>(loads.passes[i] + counts.TurnedAtSwitch()[i]);
    apart += std::abs(passes - static_cast<double>(transmissions[i]));
    all += static_cast<double>(transmissions[i]);
  }
  return apart / all;
}

// All links, row by row of the nodes that they leave.
std::vector<LinkValue> LinksOf(const LinkLoads& loads, double carried) {
  std::vector<LinkValue> links;
  for (uint32_t row = 0; row < loads.mesh.nodes.rows; ++row) {
    for (uint32_t column = 0; column < loads.mesh.nodes.columns; ++column) {
      for (const Heading heading : ALL_HEADINGS) {
        if (loads.mesh.HasLink({column, row}, heading)) {
          const uint64_t messages = loads.Of({column, row}, heading);
          links.push_back(
              {{column, row}, heading, messages, static_cast<double>(messages) / carried});
        }
      }
    }
  }
  return links;
}

void TakeLinks(const std::vector<LinkValue>& links, LinkMeasures& measures) {
  measures.links = links.size();
  std::vector<double> loads;
  for (const LinkValue& link : links) {
    loads.push_back(link.load);
    measures.unused += link.messages == 0 ? 1 : 0;
    measures.mean += link.load / static_cast<double>(links.size());
  }
  measures.imbalance = ImbalanceOf(loads);
  for (const size_t i : FirstOf(links.size(), [&](size_t a, size_t b) {
         return links[a].messages != links[b].messages ? links[a].messages > links[b].messages
                                                       : a < b;
       })) {
    if (links[i].messages > 0) {
      measures.busiest.push_back(links[i]);
    }
  }
}

void TakeElements(const RunCounts& counts, const std::optional<Region>& region,
                  RunMeasures& measures) {
  const ArrayShape& shape = counts.Places().Shape();
  std::vector<double> fires;
  const ElementCounts* idlest = nullptr;
  for (const ElementCounts& element : counts.Places().Elements()) {
    fires.push_back(static_cast<double>(element.fires));
    measures.fires += element.fires;
    if (element.gap > (idlest == nullptr ? 0 : idlest->gap)) {
      idlest = &element;
    }
  }
  if (idlest != nullptr) {
    const size_t number = static_cast<size_t>(idlest - counts.Places().Elements().data());
    measures.longestGap = {shape.ElementAt(number), static_cast<double>(idlest->gap)};
    measures.longestGapEnd = idlest->gapEnd;
  }
  const std::vector<size_t> meant = UnitsIn(shape, Level::PE, region);
  measures.elements = UsageOf({fires, shape.Columns(), meant}, measures.cycles);
  measures.clusters = UsageOf({Reduce(shape, Level::CLUSTER, Reduction::SUM, fires),
                               shape.clusters.columns, UnitsIn(shape, Level::CLUSTER, region)},
                              measures.cycles);
  measures.firesPerCycle = static_cast<double>(measures.fires) / measures.cycles;
  const Units shares = {ValuesOf(counts, PlaceMeasure::UTILISATION, measures.cycles),
                        shape.Columns(), meant};
  measures.utilisation = shares.Mean();
  measures.mostUtilised = Largest(shares);
}

std::optional<SwitchLoads> SwitchLoadsOf(const RunCounts& counts, const NetworkModel& model,
                                         double cycles, const std::vector<size_t>& meant) {
  const Mesh& mesh = counts.ClusterLinks().GetMesh();
  const std::vector<uint64_t>& transmissions = counts.Places().Transmissions();
  SwitchLoads loads;
  Units units = {{}, mesh.nodes.columns, meant};
  for (size_t i = 0; i < transmissions.size(); ++i) {
    const Place node = {static_cast<uint32_t>(i % mesh.nodes.columns),
                        static_cast<uint32_t>(i / mesh.nodes.columns)};
    const std::optional<double> capacity = model.OfSwitch(mesh, node);
    if (!capacity) {
      return std::nullopt;
    }
    loads.capacities.push_back(*capacity);
    units.values.push_back(static_cast<double>(transmissions[i]) / (cycles * *capacity));
  }
  loads.mean = units.Mean();
  loads.busiest = Largest(units);
  return loads;
}

}  // namespace

LinkMeasures LinksOf(const RunCounts& counts, double cycles, double capacity,
                     std::optional<Level> level) {
  LinkMeasures measures;
  measures.capacity = capacity;
  measures.observed = counts.FarSends() == 0;
  const bool flat = counts.Places().Shape().Switches() == 1;
  measures.level = level ? *level : measures.observed || flat ? Level::PE : Level::CLUSTER;
  // Of one cluster there are no links between switches.
  measures.observed = measures.observed && measures.level == Level::PE;
  measures.loads =
      measures.level == Level::PE ? counts.ElementLinks().Get() : counts.ClusterLinks().Get();
  TakeLinks(LinksOf(measures.loads, cycles * capacity), measures);
  measures.bisection = BisectionOf(measures.loads);
  measures.bisectionRate = static_cast<double>(measures.bisection.messages) / cycles;
  if (measures.bisection.links > 0) {
    measures.bisectionShare =
        measures.bisectionRate / (capacity * static_cast<double>(measures.bisection.links));
  }
  const std::vector<uint64_t>& transmissions = counts.Places().Transmissions();
  if (measures.level == Level::CLUSTER &&
      std::any_of(transmissions.begin(), transmissions.end(), [](uint64_t t) { return t > 0; })) {
    measures.modelError = ModelError(counts, measures.loads);
  }
  return measures;
}

std::vector<size_t> UnitsIn(const ArrayShape& shape, Level level,
                            const std::optional<Region>& region) {
  const PerAxis units = UnitsOf(shape, level);
  std::vector<size_t> numbers;
  if (!region) {
    numbers.resize(static_cast<size_t>(units.columns) * units.rows);
    std::iota(numbers.begin(), numbers.end(), size_t{0});
    return numbers;
  }
  if (!shape.HasElement(region->first)) {
    return numbers;
  }
  const Place first = UnitOf(shape, level, region->first);
  const Place last = UnitOf(shape, level,
                            {std::min(region->last.column, shape.Columns() - 1),
                             std::min(region->last.row, shape.Rows() - 1)});
  for (uint32_t row = first.row; row <= last.row; ++row) {
    for (uint32_t column = first.column; column <= last.column; ++column) {
      numbers.push_back(static_cast<size_t>(row) * units.columns + column);
    }
  }
  return numbers;
}

std::vector<size_t> SwitchesIn(const ArrayShape& shape, const std::optional<Region>& region) {
  std::vector<size_t> numbers;
  for (size_t i = 0; i < shape.Switches(); ++i) {
    if (!region || region->Has(shape.SwitchAt(i))) {
      numbers.push_back(i);
    }
  }
  return numbers;
}

std::vector<double> ValuesOf(const RunCounts& counts, PlaceMeasure measure, double cycles) {
  std::vector<double> values;
  for (const ElementCounts& element : counts.Places().Elements()) {
    const double shares[] = {static_cast<double>(element.fires) / cycles,
                             static_cast<double>(element.sends) / cycles,
                             static_cast<double>(element.receives) / cycles,
                             // Where cycles fall, one may be counted more than once.
                             std::min(1.0, static_cast<double>(element.active) / cycles),
                             std::max(0.0, 1 - static_cast<double>(element.active) / cycles)};
    values.push_back(shares[static_cast<size_t>(measure)]);
  }
  return values;
}

RunMeasures MeasuresOf(const RunCounts& counts, const NetworkModel& model,
                       const std::optional<Region>& region) {
  RunMeasures measures;
  measures.range = {counts.Times().Columns().first, counts.Times().Columns().last};
  measures.cycles = measures.range.Length();
  measures.records = counts.Records();
  measures.outside = counts.Places().Outside();
  TakeElements(counts, region, measures);
  const std::vector<double> transmissions = AsDoubles(counts.Places().Transmissions());
  const ArrayShape& shape = counts.Places().Shape();
  measures.switches =
      UsageOf({transmissions, shape.clusters.columns, SwitchesIn(shape, region)}, measures.cycles);
  measures.switchLoads = SwitchLoadsOf(counts, model, measures.cycles, SwitchesIn(shape, region));
  measures.transmissions = static_cast<uint64_t>(measures.switches.total);
  const std::vector<uint64_t>& sends = counts.Times().OfType(SEND_RECORD);
  measures.sends = std::accumulate(sends.begin(), sends.end(), uint64_t{0});
  measures.peakFires = counts.Pulses().Peak();
  measures.peakCycle = counts.Pulses().PeakCycle();
  measures.quietCycles = counts.Pulses().Quiet();
  measures.quietFirst = counts.Pulses().QuietFirst();
  for (size_t distance = 0; distance < counts.Distances().size(); ++distance) {
    measures.distances.Add(distance, counts.Distances()[distance]);
  }
  measures.links = LinksOf(counts, measures.cycles, model.linkMessages);
  if (counts.Times().Columns().Count() > 1) {
    measures.phases = FindPhases(counts.Times().Columns(), counts.Times().OfType(FIRE_RECORD),
                                 &measures.phaseCost);
  }
  return measures;
}

}  // namespace marrowfin
