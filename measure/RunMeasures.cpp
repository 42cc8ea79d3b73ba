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

// Units in rows of `columns`, largest value first, then lower row, then column: that is the order
// of their numbers.
std::vector<PlaceValue> Largest(const std::vector<double>& values, uint32_t columns) {
  std::vector<PlaceValue> told;
  for (const size_t i : FirstOf(values.size(), [&](size_t a, size_t b) {
         return values[a] != values[b] ? values[a] > values[b] : a < b;
       })) {
    if (values[i] > 0) {
      told.push_back(
          {{static_cast<uint32_t>(i % columns), static_cast<uint32_t>(i / columns)}, values[i]});
    }
  }
  return told;
}

std::vector<PlaceValue> Smallest(const std::vector<double>& values, uint32_t columns) {
  const auto key = [&](size_t i) { return values[i] > 0 ? values[i] : INFINITY; };
  std::vector<PlaceValue> told;
  for (const size_t i : FirstOf(values.size(), [&](size_t a, size_t b) {
         return key(a) != key(b) ? key(a) < key(b) : a < b;
       })) {
    if (values[i] > 0) {
      told.push_back(
          {{static_cast<uint32_t>(i % columns), static_cast<uint32_t>(i / columns)}, values[i]});
    }
  }
  return told;
}

Usage UsageOf(std::vector<double> counts, uint32_t columns, double cycles) {
  Usage usage;
  usage.units = counts.size();
  usage.total = std::accumulate(counts.begin(), counts.end(), 0.0);
  usage.rate = usage.total / cycles / static_cast<double>(counts.size());
  usage.never = static_cast<uint64_t>(std::count(counts.begin(), counts.end(), 0.0));
  usage.imbalance = ImbalanceOf(counts);
  for (double& count : counts) {
    count /= cycles;
  }
  usage.busiest = Largest(counts, columns);
  usage.quietest = Smallest(counts, columns);
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

void TakeElements(const RunCounts& counts, RunMeasures& measures) {
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
  measures.elements = UsageOf(fires, shape.Columns(), measures.cycles);
  measures.clusters = UsageOf(Reduce(shape, Level::CLUSTER, Reduction::SUM, fires),
                              shape.clusters.columns, measures.cycles);
  measures.firesPerCycle = static_cast<double>(measures.fires) / measures.cycles;
  const std::vector<double> shares = ValuesOf(counts, PlaceMeasure::UTILISATION, measures.cycles);
  measures.utilisation =
      std::accumulate(shares.begin(), shares.end(), 0.0) / static_cast<double>(shares.size());
  measures.mostUtilised = Largest(shares, shape.Columns());
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

RunMeasures MeasuresOf(const RunCounts& counts, double linkCapacity) {
  RunMeasures measures;
  measures.range = {counts.Times().Columns().first, counts.Times().Columns().last};
  measures.cycles = measures.range.Length();
  measures.records = counts.Records();
  measures.outside = counts.Places().Outside();
  TakeElements(counts, measures);
  const std::vector<double> transmissions = AsDoubles(counts.Places().Transmissions());
  measures.switches =
      UsageOf(transmissions, counts.Places().Shape().clusters.columns, measures.cycles);
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
  measures.links = LinksOf(counts, measures.cycles, linkCapacity);
  if (counts.Times().Columns().Count() > 1) {
    measures.phases = FindPhases(counts.Times().Columns(), counts.Times().OfType(FIRE_RECORD),
                                 &measures.phaseCost);
  }
  return measures;
}

}  // namespace marrowfin
