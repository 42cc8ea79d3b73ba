#ifndef MEASURE_RUNDIFF_H
#define MEASURE_RUNDIFF_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measure/CountPairs.h"
#include "measure/Level.h"
#include "measure/PacketCounts.h"
#include "measure/RunMeasures.h"

namespace marrowfin {

// What became of a number from one run to another: `a` is looked at, `b` is what it is held
// against, as a version before. A change is a - b.

// What the values of a measure are, for whoever writes them.
enum class Quantity { COUNT, CYCLES, RATE, SHARE, NUMBER };

struct Change {
  std::string name;   // for machines: "firesPerCycle"
  std::string words;  // "fires per cycle"
  Quantity quantity = Quantity::NUMBER;
  std::optional<double> a;  // nothing where the measure cannot be told of that run
  std::optional<double> b;

  // Nothing where it cannot be told of both. What only rounding makes of two is 0.
  std::optional<double> Difference() const;

  // The difference as a share of what it was; nothing where that was 0.
  std::optional<double> Relative() const;
};

// A measured run.
struct MeasuredRun {
  const RunCounts& counts;
  const RunMeasures& measures;
  const PacketCounts* packets = nullptr;  // null where nothing tells packets
  const PairCounts* pairs = nullptr;      // null where nothing tells what fires consumed
};

// Every measure of whole runs. Those of packets, and of messages and the fires that consumed them,
// where both runs tell such.
std::vector<Change> ChangesOf(const MeasuredRun& a, const MeasuredRun& b);

// Adds those of a distribution: of its mean, its 50th, 95th and 99th percentile, and its largest
// value, as "latencyMean" and so on.
void AddValueChanges(const std::string& name, const std::string& words, Quantity quantity,
                     const ValueCounts& a, const ValueCounts& b, std::vector<Change>& changes);

// What changed at the units of the array: a measure of elements, or what else single units have.
enum class UnitMeasure {
  FIRES,
  SENDS,
  RECEIVES,
  UTILISATION,
  IDLE,
  LONGEST_GAP,
  TRANSMISSIONS,
  SWITCH_LOAD
};

constexpr UnitMeasure UNIT_MEASURES[] = {UnitMeasure::FIRES,         UnitMeasure::SENDS,
                                         UnitMeasure::RECEIVES,      UnitMeasure::UTILISATION,
                                         UnitMeasure::IDLE,          UnitMeasure::LONGEST_GAP,
                                         UnitMeasure::TRANSMISSIONS, UnitMeasure::SWITCH_LOAD};

// "fires", "sends", "receives", "utilisation", "idle", "longestGap", "transmissions", "switchLoad".
const char* UnitMeasureName(UnitMeasure measure);

// Whether a measure is of the switches of clusters, whatever the level.
bool IsOfSwitches(UnitMeasure measure);

struct UnitChange {
  Place at;
  std::optional<double> a;  // nothing where the array of that run has no such unit
  std::optional<double> b;

  double Difference() const;
  bool InBoth() const { return a && b; }
};

// Of each unit that either array has at a level, row by row. Counts are by cycle of each run's own
// range, and of domains and clusters the mean of their elements, so that arrays of different sizes
// and runs of different lengths can be compared; of gaps the longest. Of SWITCH_LOAD nothing unless
// both runs tell what switches can pass on.
std::vector<UnitChange> UnitChangesOf(const MeasuredRun& a, const MeasuredRun& b,
                                      UnitMeasure measure, Level level);

// The same in a few numbers, of the units that both have.
struct UnitSummary {
  uint64_t up = 0;
  uint64_t down = 0;
  uint64_t same = 0;
  uint64_t onlyA = 0;  // units that the array of the other run does not have
  uint64_t onlyB = 0;
  double meanA = 0;  // of the units in both
  double meanB = 0;
  std::optional<UnitChange> mostUp;  // ties: lower row, then column
  std::optional<UnitChange> mostDown;
};
UnitSummary SummaryOf(const std::vector<UnitChange>& changes);

// The load of a link in both runs.
struct LinkChange {
  Place node;
  Heading heading = Heading::RIGHT;
  double a = 0;
  double b = 0;
};

// Of each link, row by row of the nodes that they leave. Nothing where the links of the runs are
// not the same: of different meshes, or observed between elements in one and modelled between the
// switches of clusters in the other.
std::vector<LinkChange> LinkChangesOf(const RunMeasures& a, const RunMeasures& b);

// Messages a cycle from a cluster to another one, or itself, in both runs.
struct TrafficChange {
  Place from;
  Place to;
  double a = 0;
  double b = 0;
};

// Of each two clusters between which there was a message in either run, row by row. Nothing where
// the arrays do not have the same clusters, or too many (MessageCounts).
std::vector<TrafficChange> TrafficChangesOf(const MeasuredRun& a, const MeasuredRun& b);

}  // namespace marrowfin

#endif
