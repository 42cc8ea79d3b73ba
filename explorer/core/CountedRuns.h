#ifndef EXPLORER_CORE_COUNTEDRUNS_H
#define EXPLORER_CORE_COUNTEDRUNS_H

#include <cstddef>
#include <cstdint>

#include "explorer/core/FoundOnce.h"
#include "measure/RunCounts.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// A part of a run that is to be counted.
struct RunPart {
  ArrayShape shape;
  uint64_t first = 0;  // cycle, and the last one
  uint64_t last = 0;

  // Whether sums by place are all that is wanted: an index tells them in some milliseconds, where
  // all else goes through the records.
  bool sums = false;

  friend bool operator==(const RunPart&, const RunPart&) = default;
};

// What was counted last: panels ask for the same range at the same time or one after the other, and
// for the whole run again and again.
class CountedRuns : public FoundOnce<RunPart, RunCounts> {
 public:
  // Of larger arrays nothing is kept.
  static constexpr size_t MOST_ELEMENTS = size_t{1} << 18;

  CountedRuns() : FoundOnce(3, 4) {}
};

}  // namespace marrowfin

#endif
