#ifndef MEASURE_RUNCOUNTS_H
#define MEASURE_RUNCOUNTS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "measure/MessageCounts.h"
#include "measure/PlaceCounts.h"
#include "measure/PulseCounts.h"
#include "measure/Timeline.h"
#include "trace/ask/Selection.h"
#include "trace/base/About.h"
#include "trace/base/ArrayShape.h"
#include "trace/index/IndexTables.h"

namespace marrowfin {

// What is to be counted of an array.
struct RunShape {
  ArrayShape shape;
  bool wrapColumns = false;  // whether links join the last column to the first
  bool wrapRows = false;
  bool columnFirst = false;  // how messages are routed, see Mesh
  TimeColumns columns;

  // Whether links between elements of several clusters are counted even where messages are far.
  bool elementLinks = false;

  // Whether single cycles are told apart for each unit, which takes ten words for each.
  bool elementPulses = false;
  bool switchPulses = false;
};

// Everything that one pass through a trace counts, in order of the trace.
class RunCounts {
 public:
  explicit RunCounts(const RunShape& shape);

  void Add(const Selection& records);

  // What came right behind.
  void Add(const RunCounts& later);

  // The same out of sums that are known: what a place has of an activity, the records of a column
  // of a type and a thread (or of those that are not told apart), and at last what of those is at
  // places that the array does not have.
  void AddAt(Place place, Activity activity, uint64_t count);
  void AddRecords(std::optional<uint32_t> thread, uint32_t type, size_t column, uint64_t count);
  void CountOutside();

  // Shows all that was counted, see CountsBytes; not of counts with pulses of elements or switches.
  template <class Visitor>
  void Visit(Visitor& visitor) {
    visitor.Records(records);
    visitor.Cycle(firstCycle);
    visitor.Cycle(lastCycle);
    times.Visit(visitor);
    places.Visit(visitor);
    pulses.Visit(visitor);
    messages.Visit(visitor);
  }

  const PlaceCounts& Places() const { return places; }
  const Timeline& Times() const { return times; }
  const PulseCounts& Pulses() const { return pulses; }

  // The same of the fires of each element, and of the transmissions of each switch; empty where
  // they were not asked for.
  const std::vector<PulseCounts>& ElementPulses() const { return elementPulses; }
  const std::vector<PulseCounts>& SwitchPulses() const { return switchPulses; }

  // Messages by distance: columns and rows between their ends. Those with an end outside the array
  // are not counted.
  const std::vector<uint64_t>& Distances() const { return messages.Distances(); }

  // Messages whose ends are not both on one link of the mesh of elements, nor in one element.
  uint64_t FarSends() const { return messages.FarSends(); }

  // Links between elements, of use where there is one cluster or no message is far; and those
  // between the switches of clusters.
  const LinkCounts& ElementLinks() const { return messages.ElementLinks(); }
  const LinkCounts& ClusterLinks() const { return messages.ClusterLinks(); }

  // Messages within a cluster that pass its switch: those that leave their domain.
  const std::vector<uint64_t>& TurnedAtSwitch() const { return messages.TurnedAtSwitch(); }

  // Messages from each cluster to each, row by row; empty where the array has too many.
  const std::vector<uint64_t>& Traffic() const { return messages.Traffic(); }

  // The lowest and the highest cycle of all that was added, and whether any record was.
  bool IsEmpty() const { return records == 0; }
  uint64_t Records() const { return records; }
  uint64_t FirstCycle() const { return firstCycle; }
  uint64_t LastCycle() const { return lastCycle; }

 private:
  // Records between that which is counted and that which is fetched.
  static constexpr size_t AHEAD = 12;

  void Fetch(const Columns& columns, size_t row) const;
  void AddPulses(const Selection& records);
  void AddCycles(const Selection& selected);

  PlaceCounts places;
  Timeline times;
  PulseCounts pulses;
  std::vector<PulseCounts> elementPulses;
  std::vector<PulseCounts> switchPulses;
  MessageCounts messages;
  uint64_t records = 0;
  uint64_t firstCycle = ~uint64_t{0};
  uint64_t lastCycle = 0;
};

}  // namespace marrowfin

#endif
