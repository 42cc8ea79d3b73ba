#ifndef MEASURE_PLACECOUNTS_H
#define MEASURE_PLACECOUNTS_H

#include <cstdint>
#include <vector>

#include "trace/ask/Selection.h"
#include "trace/base/ArrayShape.h"
#include "trace/index/IndexTables.h"

namespace marrowfin {

// What a processing element did.
struct ElementCounts {
  uint64_t fires = 0;
  uint64_t sends = 0;
  uint64_t receives = 0;
  uint64_t active = 0;  // cycles in which it fired
  uint64_t first = 0;   // the cycle of the first fire and of the last, where there is one
  uint64_t last = 0;
  uint64_t gap = 0;     // most cycles from one fire to the next; 0 where there are not two
  uint64_t gapEnd = 0;  // the cycle that ends that gap

  friend bool operator==(const ElementCounts&, const ElementCounts&) = default;
};

// What every unit of an array did, in a pass from front to back. Of a trace whose cycles fall,
// `active` may count a cycle more than once, and no gap ends at a fall.
class PlaceCounts {
 public:
  explicit PlaceCounts(const ArrayShape& shape)
      : shape(shape), elements(shape.Elements()), switches(shape.Switches()) {}

  void Add(const Selection& records);

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

  // Events at places that the array does not have, ends of messages each by itself.
  uint64_t Outside() const { return outside; }

 private:
  ElementCounts* At(Place place);
  void AddFire(Place at, uint64_t cycle);

  ArrayShape shape;
  std::vector<ElementCounts> elements;
  std::vector<uint64_t> switches;
  uint64_t outside = 0;
};

}  // namespace marrowfin

#endif
