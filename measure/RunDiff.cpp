#include "measure/RunDiff.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

namespace marrowfin {
namespace {

// A measure: how to tell it of a run.
struct Told {
  const char* name;
  const char* words;
  Quantity quantity;
  std::function<std::optional<double>(const RunMeasures&)> of;
};

double AsDouble(uint64_t count) { return static_cast<double>(count); }

std::optional<double> MeanOf(const ValueCounts& values) {
  return values.IsEmpty() ? std::nullopt : std::optional(values.Mean());
}

std::optional<double> LargestOf(const ValueCounts& values) {
  return values.IsEmpty() ? std::nullopt : std::optional(AsDouble(values.Largest()));
}

std::optional<double> PercentileOf(const ValueCounts& values, uint32_t percent) {
  const std::optional<uint64_t> value = values.Percentile(percent);
  return value ? std::optional(AsDouble(*value)) : std::nullopt;
}

std::optional<double> Of(const std::optional<Imbalance>& imbalance, double Imbalance::*number) {
  return imbalance ? std::optional(*imbalance.*number) : std::nullopt;
}

std::optional<double> Largest(const std::vector<PlaceValue>& busiest) {
  return busiest.empty() ? 0 : busiest[0].value;
}

const std::vector<Told>& WorkMeasures() {
  using M = RunMeasures;
  static const std::vector<Told> measures = {
      {"cycles", "cycles", Quantity::CYCLES, [](const M& m) { return m.cycles; }},
      {"records", "records", Quantity::COUNT, [](const M& m) { return AsDouble(m.records); }},
      {"fires", "fires", Quantity::COUNT, [](const M& m) { return AsDouble(m.fires); }},
      {"firesPerCycle", "fires per cycle", Quantity::RATE,
       [](const M& m) { return m.firesPerCycle; }},
      {"utilisation", "utilisation", Quantity::SHARE, [](const M& m) { return m.utilisation; }},
      {"largestUtilisation", "largest of a PE", Quantity::SHARE,
       [](const M& m) { return Largest(m.mostUtilised); }},
      {"elementRate", "fires per PE and cycle", Quantity::RATE,
       [](const M& m) { return m.elements.rate; }},
      {"busiestElement", "busiest PE", Quantity::RATE,
       [](const M& m) { return Largest(m.elements.busiest); }},
      {"idleElements", "PEs that never fire", Quantity::COUNT,
       [](const M& m) { return AsDouble(m.elements.never); }},
      {"elementMaxOverMean", "PEs, max/mean", Quantity::NUMBER,
       [](const M& m) { return Of(m.elements.imbalance, &Imbalance::maxOverMean); }},
      {"elementGini", "PEs, Gini", Quantity::NUMBER,
       [](const M& m) { return Of(m.elements.imbalance, &Imbalance::gini); }},
      {"elementCov", "PEs, CoV", Quantity::NUMBER,
       [](const M& m) { return Of(m.elements.imbalance, &Imbalance::cov); }},
      {"clusterMaxOverMean", "clusters, max/mean", Quantity::NUMBER,
       [](const M& m) { return Of(m.clusters.imbalance, &Imbalance::maxOverMean); }},
      {"clusterGini", "clusters, Gini", Quantity::NUMBER,
       [](const M& m) { return Of(m.clusters.imbalance, &Imbalance::gini); }},
      {"clusterCov", "clusters, CoV", Quantity::NUMBER,
       [](const M& m) { return Of(m.clusters.imbalance, &Imbalance::cov); }},
      {"longestGap", "longest gap", Quantity::CYCLES,
       [](const M& m) { return m.longestGap ? m.longestGap->value : 0; }},
      {"peakFires", "fires of the busiest cycle", Quantity::COUNT,
       [](const M& m) { return AsDouble(m.peakFires); }},
      {"quietCycles", "longest quiet spell", Quantity::CYCLES,
       [](const M& m) { return AsDouble(m.quietCycles); }},
      {"phases", "phases", Quantity::COUNT,
       [](const M& m) {
         return m.phases ? std::optional(AsDouble(m.phases->size())) : std::nullopt;
       }},
      {"outside", "places outside the array", Quantity::COUNT,
       [](const M& m) { return AsDouble(m.outside); }}};
  return measures;
}

const std::vector<Told>& MessageMeasures() {
  using M = RunMeasures;
  static const std::vector<Told> measures = {
      {"sends", "messages", Quantity::COUNT, [](const M& m) { return AsDouble(m.sends); }},
      {"linkLoad", "link load, mean", Quantity::SHARE, [](const M& m) { return m.links.mean; }},
      {"busiestLink", "link load, largest", Quantity::SHARE,
       [](const M& m) { return m.links.busiest.empty() ? 0 : m.links.busiest[0].load; }},
      {"unusedLinks", "links unused", Quantity::COUNT,
       [](const M& m) { return AsDouble(m.links.unused); }},
      {"linkMaxOverMean", "links, max/mean", Quantity::NUMBER,
       [](const M& m) { return Of(m.links.imbalance, &Imbalance::maxOverMean); }},
      {"linkGini", "links, Gini", Quantity::NUMBER,
       [](const M& m) { return Of(m.links.imbalance, &Imbalance::gini); }},
      {"linkCov", "links, CoV", Quantity::NUMBER,
       [](const M& m) { return Of(m.links.imbalance, &Imbalance::cov); }},
      {"bisectionRate", "bisection, messages a cycle", Quantity::RATE,
       [](const M& m) { return m.links.bisectionRate; }},
      {"bisectionShare", "bisection, share", Quantity::SHARE,
       [](const M& m) { return m.links.bisectionShare; }},
      {"modelError", "model error", Quantity::SHARE, [](const M& m) { return m.links.modelError; }},
      {"transmissions", "transmissions", Quantity::COUNT,
       [](const M& m) { return AsDouble(m.transmissions); }},
      {"switchRate", "transmissions per switch and cycle", Quantity::RATE,
       [](const M& m) { return m.switches.rate; }},
      {"busiestSwitch", "busiest switch", Quantity::RATE,
       [](const M& m) { return Largest(m.switches.busiest); }},
      {"switchLoad", "switch load, mean", Quantity::SHARE,
       [](const M& m) {
         return m.switchLoads ? std::optional(m.switchLoads->mean) : std::nullopt;
       }},
      {"busiestSwitchLoad", "switch load, largest", Quantity::SHARE,
       [](const M& m) { return m.switchLoads ? Largest(m.switchLoads->busiest) : std::nullopt; }},
      {"idleSwitches", "switches that never transmit", Quantity::COUNT,
       [](const M& m) { return AsDouble(m.switches.never); }},
      {"switchMaxOverMean", "switches, max/mean", Quantity::NUMBER,
       [](const M& m) { return Of(m.switches.imbalance, &Imbalance::maxOverMean); }},
      {"switchGini", "switches, Gini", Quantity::NUMBER,
       [](const M& m) { return Of(m.switches.imbalance, &Imbalance::gini); }},
      {"switchCov", "switches, CoV", Quantity::NUMBER,
       [](const M& m) { return Of(m.switches.imbalance, &Imbalance::cov); }}};
  return measures;
}

void AddPackets(const PacketCounts& a, const PacketCounts& b, std::vector<Change>& changes) {
  const auto count = [&](const char* name, const char* words,
                         uint64_t (PacketCounts::*of)() const) {
    changes.push_back({name, words, Quantity::COUNT, AsDouble((a.*of)()), AsDouble((b.*of)())});
  };
  const auto values = [&](const char* name, const char* words, Quantity quantity,
                          const ValueCounts& (PacketCounts::*of)() const) {
    AddValueChanges(name, words, quantity, (a.*of)(), (b.*of)(), changes);
  };
  using P = PacketCounts;
  count("packets", "packets delivered", &P::Delivered);
  count("packetsUnderWay", "packets under way at the end", &P::UnderWay);
  values("latency", "latency", Quantity::CYCLES, &P::Latencies);
  values("totalLatency", "latency since created", Quantity::CYCLES, &P::TotalLatencies);
  values("sourceWait", "wait at the source", Quantity::CYCLES, &P::SourceWaits);
  values("hops", "hops", Quantity::COUNT, &P::Hops);
  values("hopTime", "cycles a hop", Quantity::CYCLES, &P::HopTimes);
  values("packetDistance", "distance of packets", Quantity::COUNT, &P::Distances);
}

PlaceMeasure AsPlaceMeasure(UnitMeasure measure) {
  switch (measure) {
    case UnitMeasure::SENDS:
      return PlaceMeasure::SENDS;
    case UnitMeasure::RECEIVES:
      return PlaceMeasure::RECEIVES;
    case UnitMeasure::UTILISATION:
      return PlaceMeasure::UTILISATION;
    case UnitMeasure::IDLE:
      return PlaceMeasure::IDLE;
    case UnitMeasure::FIRES:
    case UnitMeasure::LONGEST_GAP:
    case UnitMeasure::TRANSMISSIONS:
    case UnitMeasure::SWITCH_LOAD:
      break;
  }
  return PlaceMeasure::FIRES;
}

std::vector<double> UnitValues(const MeasuredRun& run, UnitMeasure measure, Level level) {
  const PlaceCounts& places = run.counts.Places();
  std::vector<double> values;
  if (IsOfSwitches(measure)) {
    const std::vector<uint64_t>& transmissions = places.Transmissions();
    for (size_t i = 0; i < transmissions.size(); ++i) {
      const double capacity =
          measure == UnitMeasure::SWITCH_LOAD ? run.measures.switchLoads->capacities[i] : 1;
      values.push_back(AsDouble(transmissions[i]) / (run.measures.cycles * capacity));
    }
    return values;
  }
  if (measure == UnitMeasure::LONGEST_GAP) {
    for (const ElementCounts& element : places.Elements()) {
      values.push_back(AsDouble(element.gap));
    }
    return Reduce(places.Shape(), level, Reduction::MAX, values);
  }
  return Reduce(places.Shape(), level, Reduction::MEAN,
                ValuesOf(run.counts, AsPlaceMeasure(measure), run.measures.cycles));
}

std::optional<double> ValueAt(const std::vector<double>& values, PerAxis units, Place at) {
  return at.column < units.columns && at.row < units.rows
             ? std::optional(values[static_cast<size_t>(at.row) * units.columns + at.column])
             : std::nullopt;
}

// Numbers that were worked out on different ways, as the Gini coefficients of the same counts over
// different cycles, differ by a few roundings: that is no change.
double Apart(double a, double b) {
  constexpr double ROUNDINGS = 1e-12;
  return std::abs(a - b) <= ROUNDINGS * std::max(std::abs(a), std::abs(b)) ? 0 : a - b;
}

}  // namespace

std::optional<double> Change::Difference() const {
  return a && b ? std::optional(Apart(*a, *b)) : std::nullopt;
}

std::optional<double> Change::Relative() const {
  return a && b && *b != 0 ? std::optional(Apart(*a, *b) / *b) : std::nullopt;
}

double UnitChange::Difference() const { return Apart(a.value_or(0), b.value_or(0)); }

void AddValueChanges(const std::string& name, const std::string& words, Quantity quantity,
                     const ValueCounts& a, const ValueCounts& b, std::vector<Change>& changes) {
  const Quantity ofMean = quantity == Quantity::CYCLES ? quantity : Quantity::NUMBER;
  changes.push_back({name + "Mean", words + ", mean", ofMean, MeanOf(a), MeanOf(b)});
  for (const uint32_t percent : {50U, 95U, 99U}) {
    const std::string which = std::to_string(percent);
    changes.push_back({name + "P" + which, words + ", " + which + " % within", quantity,
                       PercentileOf(a, percent), PercentileOf(b, percent)});
  }
  changes.push_back({name + "Max", words + ", largest", quantity, LargestOf(a), LargestOf(b)});
}

std::vector<Change> ChangesOf(const MeasuredRun& a, const MeasuredRun& b) {
  std::vector<Change> changes;
  for (const auto& measures : {WorkMeasures, MessageMeasures}) {
    for (const Told& told : measures()) {
      changes.push_back(
          {told.name, told.words, told.quantity, told.of(a.measures), told.of(b.measures)});
    }
  }
  AddValueChanges("distance", "distance", Quantity::COUNT, a.measures.distances,
                  b.measures.distances, changes);
  if (a.pairs != nullptr && b.pairs != nullptr) {
    AddValueChanges("sendToFire", "from send to fire", Quantity::CYCLES, a.pairs->cycles,
                    b.pairs->cycles, changes);
  }
  if (a.packets != nullptr && b.packets != nullptr) {
    AddPackets(*a.packets, *b.packets, changes);
  }
  return changes;
}

const char* UnitMeasureName(UnitMeasure measure) {
  constexpr const char* names[] = {"fires", "sends",      "receives",      "utilisation",
                                   "idle",  "longestGap", "transmissions", "switchLoad"};
  return names[static_cast<size_t>(measure)];
}

bool IsOfSwitches(UnitMeasure measure) {
  return measure == UnitMeasure::TRANSMISSIONS || measure == UnitMeasure::SWITCH_LOAD;
}

std::vector<UnitChange> UnitChangesOf(const MeasuredRun& a, const MeasuredRun& b,
                                      UnitMeasure measure, Level level) {
  const bool isTold = a.measures.switchLoads && b.measures.switchLoads;
  if (measure == UnitMeasure::SWITCH_LOAD && !isTold) {
    return {};
  }
  const Level at = IsOfSwitches(measure) ? Level::CLUSTER : level;
  const PerAxis unitsA = UnitsOf(a.counts.Places().Shape(), at);
  const PerAxis unitsB = UnitsOf(b.counts.Places().Shape(), at);
  const std::vector<double> inA = UnitValues(a, measure, at);
  const std::vector<double> inB = UnitValues(b, measure, at);
  std::vector<UnitChange> changes;
  ForEachPlaceOfEither(unitsA, unitsB, [&](Place place) {
    changes.push_back({place, ValueAt(inA, unitsA, place), ValueAt(inB, unitsB, place)});
  });
  return changes;
}

std::vector<LinkChange> LinkChangesOf(const RunMeasures& a, const RunMeasures& b) {
  const Mesh& mesh = a.links.loads.mesh;
  const Mesh& other = b.links.loads.mesh;
  std::vector<LinkChange> changes;
  if (a.links.level != b.links.level || mesh.nodes != other.nodes ||
      mesh.wrapColumns != other.wrapColumns || mesh.wrapRows != other.wrapRows) {
    return changes;
  }
  const auto load = [](const RunMeasures& run, Place node, Heading heading) {
    return AsDouble(run.links.loads.Of(node, heading)) / (run.cycles * run.links.capacity);
  };
  for (uint32_t row = 0; row < mesh.nodes.rows; ++row) {
    for (uint32_t column = 0; column < mesh.nodes.columns; ++column) {
      for (const Heading heading : {Heading::RIGHT, Heading::LEFT, Heading::UP, Heading::DOWN}) {
        const Place node = {column, row};
        if (mesh.HasLink(node, heading)) {
          changes.push_back({node, heading, load(a, node, heading), load(b, node, heading)});
        }
      }
    }
  }
  return changes;
}

std::vector<TrafficChange> TrafficChangesOf(const MeasuredRun& a, const MeasuredRun& b) {
  const PerAxis clusters = a.counts.Places().Shape().clusters;
  const std::vector<uint64_t>& inA = a.counts.Traffic();
  const std::vector<uint64_t>& inB = b.counts.Traffic();
  std::vector<TrafficChange> changes;
  if (clusters != b.counts.Places().Shape().clusters || inA.size() != inB.size()) {
    return changes;
  }
  const size_t count = a.counts.Places().Shape().Switches();
  const auto place = [&](size_t number) {
    return Place{static_cast<uint32_t>(number % clusters.columns),
                 static_cast<uint32_t>(number / clusters.columns)};
  };
  for (size_t i = 0; i < inA.size(); ++i) {
    if (inA[i] + inB[i] > 0) {
      changes.push_back({place(i / count), place(i % count), AsDouble(inA[i]) / a.measures.cycles,
                         AsDouble(inB[i]) / b.measures.cycles});
    }
  }
  return changes;
}

UnitSummary SummaryOf(const std::vector<UnitChange>& changes) {
  UnitSummary summary;
  double both = 0;
  for (const UnitChange& change : changes) {
    summary.onlyA += change.b ? 0 : 1;
    summary.onlyB += change.a ? 0 : 1;
    if (!change.InBoth()) {
      continue;
    }
    const double difference = change.Difference();
    summary.up += difference > 0 ? 1 : 0;
    summary.down += difference < 0 ? 1 : 0;
    summary.same += difference == 0 ? 1 : 0;
    both += 1;
    summary.meanA += *change.a;
    summary.meanB += *change.b;
    if (difference > (summary.mostUp ? summary.mostUp->Difference() : 0)) {
      summary.mostUp = change;
    }
    if (difference < (summary.mostDown ? summary.mostDown->Difference() : 0)) {
      summary.mostDown = change;
    }
  }
  summary.meanA /= std::max(both, 1.0);
  summary.meanB /= std::max(both, 1.0);
  return summary;
}

}  // namespace marrowfin
