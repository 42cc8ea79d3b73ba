#ifndef MEASURE_RUNMEASURES_H
#define MEASURE_RUNMEASURES_H

#include <cstdint>
#include <optional>
#include <vector>

#include "measure/CountRun.h"
#include "measure/Distribution.h"
#include "measure/Level.h"
#include "measure/LinkCounts.h"
#include "measure/NetworkModel.h"
#include "measure/Phases.h"
#include "measure/RunCounts.h"
#include "trace/ask/Region.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// A unit of the array and a number that belongs to it.
struct PlaceValue {
  Place at;
  double value = 0;

  friend bool operator==(const PlaceValue&, const PlaceValue&) = default;
};

// How busy a set of units was. Rates are per cycle of the range, C = last - first + 1 cycles.
struct Usage {
  double total = 0;  // fires, or transmissions
  double rate = 0;   // of a unit on average, idle ones included
  uint64_t units = 0;
  uint64_t never = 0;  // units that did nothing at all
  std::optional<Imbalance> imbalance;
  std::vector<PlaceValue> busiest;   // rates; ties: lower row, then column
  std::vector<PlaceValue> quietest;  // of those that did something
};

// A link and its load: messages a cycle over what it can carry a cycle.
struct LinkValue {
  Place node;
  Heading heading = Heading::RIGHT;
  uint64_t messages = 0;
  double load = 0;
};

// What the links of the array carried. Where every message joins neighbours each is a hop, and the
// loads are *observed*. Else they are *modelled*: every message takes the way that dimension-order
// routing gives it, between the switches of clusters where there are several of those, between
// elements where there is one cluster. Adaptive routing makes the model wrong without a sign.
struct LinkMeasures {
  bool observed = false;
  Level level = Level::PE;  // of the nodes: PE or CLUSTER
  double capacity = 1;      // messages a link takes a cycle
  LinkLoads loads;
  uint64_t links = 0;
  uint64_t unused = 0;
  double mean = 0;  // load
  std::vector<LinkValue> busiest;
  std::optional<Imbalance> imbalance;
  Bisection bisection;
  double bisectionRate = 0;   // messages a cycle over the cut
  double bisectionShare = 0;  // of what the links of the cut can carry

  // How far the passes of the model are from the transmissions that the trace has of each switch:
  // the sum of all differences over that of all transmissions. Only of a model between switches
  // that transmitted.
  std::optional<double> modelError;
};

// How much of what switches can pass on they passed on.
struct SwitchLoads {
  std::vector<double> capacities;   // transmissions a cycle at most, by switch, row by row
  double mean = 0;                  // load
  std::vector<PlaceValue> busiest;  // loads; ties: lower row, then column
};

// What a run amounts to. docs/measures.md defines every number.
struct RunMeasures {
  CycleRange range;
  double cycles = 0;  // C
  uint64_t records = 0;
  uint64_t fires = 0;
  uint64_t sends = 0;
  uint64_t transmissions = 0;
  uint64_t outside = 0;  // places of events that the array does not have

  Usage elements;                          // fires
  Usage clusters;                          // fires, of their elements together
  Usage switches;                          // transmissions
  std::optional<SwitchLoads> switchLoads;  // where the model tells what every switch can pass on
  double firesPerCycle = 0;
  double utilisation = 0;                // share of cycles with a fire, mean of all elements
  std::vector<PlaceValue> mostUtilised;  // shares, at most 1
  std::optional<PlaceValue> longestGap;  // cycles from a fire of an element to its next one
  uint64_t longestGapEnd = 0;

  uint64_t peakFires = 0;  // of one cycle
  uint64_t peakCycle = 0;
  uint64_t quietCycles = 0;  // most in a row without any fire
  uint64_t quietFirst = 0;

  ValueCounts distances;  // of messages
  LinkMeasures links;
  std::optional<std::vector<Phase>> phases;  // of fires; none where none should be told
  PhaseCost phaseCost;                       // with which they were searched for
};

// Between which nodes links are told: as LinkMeasures says, unless a level is given. Between
// elements of several clusters that is of use where the counts have those links (RunShape).
LinkMeasures LinksOf(const RunCounts& counts, double cycles, double capacity,
                     std::optional<Level> level = {});

// What is told of hottest and idlest places, at most.
constexpr size_t MOST_TOLD = 5;

// `model` is what loads are shares of. The range is that of the timeline. With a region, what is
// told of elements, clusters and switches is about those that lie in it: clusters with any element
// there, switches by the place that records have them at.
RunMeasures MeasuresOf(const RunCounts& counts, const NetworkModel& model = {},
                       const std::optional<Region>& region = {});

// The numbers of the units of a level that have any element in a region, and of the switches that
// lie in it, row by row; all of them where there is none.
std::vector<size_t> UnitsIn(const ArrayShape& shape, Level level,
                            const std::optional<Region>& region);
std::vector<size_t> SwitchesIn(const ArrayShape& shape, const std::optional<Region>& region);

// One value for each element, for maps: a count divided by the cycles of the range.
enum class PlaceMeasure { FIRES, SENDS, RECEIVES, UTILISATION, IDLE };
std::vector<double> ValuesOf(const RunCounts& counts, PlaceMeasure measure, double cycles);

}  // namespace marrowfin

#endif
