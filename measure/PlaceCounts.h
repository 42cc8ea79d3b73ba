#ifndef MEASURE_PLACECOUNTS_H
#define MEASURE_PLACECOUNTS_H

#include <cstdint>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/index/IndexTables.h"

namespace marrowfin {

// What a processing element did. On a cache line of its own: which element comes next nobody can
// foresee.
struct alignas(64) ElementCounts {
  uint64_t fires = 0;
  uint64_t sends = 0;
  uint64_t receives = 0;
  uint64_t active = 0;  // cycles in which it fired
  uint64_t first = 0;   // the cycle of the first fire and of the last, where there is one
  uint64_t last = 0;
  uint64_t gap = 0;     // most cycles from one fire to the next; 0 where there are not two
  uint64_t gapEnd = 0;  // the cycle that ends that gap

  // Counts what lies between two fires.
  void TakeGap(uint64_t from, uint64_t to) {
    if (to > from && to - from > gap) {
      gap = to - from;
      gapEnd = to;
    }
  }

  friend bool operator==(const ElementCounts&, const ElementCounts&) = default;
};

// What every unit of an array did, in a pass from front to back. Of a trace whose cycles fall,
// `active` may count a cycle more than once, and no gap ends at a fall.
class PlaceCounts {
 public:
  explicit PlaceCounts(const ArrayShape& shape);

  // Has a processor fetch what an event at a place will count in, which on a large array is not at
  // hand.
  void Fetch(Place place) const {
    if (place.column < columns && place.row < rows) {
      __builtin_prefetch(&elements[static_cast<size_t>(place.row) * columns + place.column], 1);
    }
  }

  void AddFire(Place at, uint64_t cycle);
  void AddSend(Place from, Place to);
  void AddTransmissions(Place at, uint64_t count);

  // What came right behind.
  void Add(const PlaceCounts& later);

  // What is known of a place by its sums: nothing is known of `active` and of gaps then. Places
  // that the array does not have are left out, and counted by CountOutside, which is told how many
  // ends of events there are in all.
  void AddAt(Place place, Activity activity, uint64_t count);
  void CountOutside(uint64_t ends);

  const ArrayShape& Shape() const { return shape; }
  const std::vector<ElementCounts>& Elements() const { return elements; }
  const std::vector<uint64_t>& Transmissions() const { return switches; }  // by cluster

  // Shows all that was counted, see CountsBytes: number by number, since those of one kind are
  // alike.
  template <class Visitor>
  void Visit(Visitor& visitor) {
    for (const auto count : {&ElementCounts::fires, &ElementCounts::sends, &ElementCounts::receives,
                             &ElementCounts::active}) {
      for (ElementCounts& element : elements) {
        visitor.Records(element.*count);
      }
    }
    for (const auto cycle : {&ElementCounts::first, &ElementCounts::last, &ElementCounts::gap,
                             &ElementCounts::gapEnd}) {
      for (ElementCounts& element : elements) {
        visitor.Cycle(element.*cycle);
      }
    }
    visitor.Records(switches);
    visitor.Cycle(outside);  // a message has two ends
  }

  // Events at places that the array does not have, ends of messages each by itself.
  uint64_t Outside() const { return outside; }

 private:
  // By column or row of an event: the column or row of the cluster whose switch is there.
  static constexpr uint32_t NO_SWITCH = ~0U;
  static std::vector<uint32_t> SwitchesAlong(uint32_t clusters, uint32_t side);

  ElementCounts* At(Place place);

  ArrayShape shape;
  uint32_t columns;  // of the array
  uint32_t rows;
  std::vector<uint32_t> switchColumns;
  std::vector<uint32_t> switchRows;
  std::vector<ElementCounts> elements;
  std::vector<uint64_t> switches;
  uint64_t outside = 0;
};

// In every loop over records, so without calls.

inline ElementCounts* PlaceCounts::At(Place place) {
  if (place.column >= columns || place.row >= rows) {
    ++outside;
    return nullptr;
  }
  return &elements[static_cast<size_t>(place.row) * columns + place.column];
}

inline void PlaceCounts::AddFire(Place at, uint64_t cycle) {
  ElementCounts* const element = At(at);
  if (element == nullptr) {
    return;
  }
  if (element->fires == 0) {
    element->first = cycle;
    element->active = 1;
  } else if (cycle != element->last) {
    element->TakeGap(element->last, cycle);
    ++element->active;
  }
  element->last = cycle;
  ++element->fires;
}

inline void PlaceCounts::AddSend(Place from, Place to) {
  if (ElementCounts* const sender = At(from)) {
    ++sender->sends;
  }
  if (ElementCounts* const receiver = At(to)) {
    ++receiver->receives;
  }
}

inline void PlaceCounts::AddTransmissions(Place at, uint64_t count) {
  const bool along = at.column < switchColumns.size() && at.row < switchRows.size();
  const Place cluster =
      along ? Place{switchColumns[at.column], switchRows[at.row]} : Place{NO_SWITCH, NO_SWITCH};
  if (cluster.column == NO_SWITCH || cluster.row == NO_SWITCH) {
    outside += count;
    return;
  }
  switches[static_cast<size_t>(cluster.row) * shape.clusters.columns + cluster.column] += count;
}

}  // namespace marrowfin

#endif
