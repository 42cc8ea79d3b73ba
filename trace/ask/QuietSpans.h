#ifndef TRACE_ASK_QUIETSPANS_H
#define TRACE_ASK_QUIETSPANS_H

#include <cstddef>
#include <cstdint>
#include <functional>

#include "trace/ask/EventFilter.h"
#include "trace/ask/NodeSums.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"

namespace marrowfin {

// At least and at most so many.
struct CountBounds {
  uint64_t least = 0;
  uint64_t most = 0;

  bool Exact() const { return least == most; }
};

// What an index knows, without reading the trace, of how many events a filter lets through between
// its boundaries: the counters of the region's units, those of the thread, and the masks that tell
// who was where. Ranges of records and steps are the caller's to keep.
//
// Boundaries are counted from 1, 0 is the start of the trace. Whether the trace is still what was
// indexed is not asked. For one thread at a time; the index must outlive it.
class QuietSpans {
 public:
  QuietSpans(const Index& index, const EventFilter& filter);

  // How many events match between two boundaries.
  [[nodiscard]] Result<CountBounds> Between(size_t from, size_t to);

  // Told now and then which record a search has reached; false stops it.
  typedef std::function<bool(uint64_t record)> ReachedFunction;

  // The first record at or after `record`, and at most `end`, before which nothing matches as far
  // as the index knows; where it was stopped, any in between.
  [[nodiscard]] Result<uint64_t> PassOver(uint64_t record, uint64_t end,
                                          const ReachedFunction& reached);

  // The record behind the last one before `record`, and not before `begin`, that may match,
  // likewise.
  [[nodiscard]] Result<uint64_t> PassBack(uint64_t record, uint64_t begin,
                                          const ReachedFunction& reached);

 private:
  Result<bool> IsQuiet(size_t from, size_t to);
  Result<bool> IsTailQuiet();
  Result<bool> IsUntouched(size_t from, size_t to);
  uint64_t FarEnds(size_t from, size_t to) const;
  Result<bool> HasNone(size_t from, size_t to);
  size_t BoundaryAt(uint64_t record) const;
  uint64_t RecordOf(size_t boundary) const;

  static constexpr size_t NO_SEGMENT = ~size_t{0};

  const Index& index;
  const EventFilter filter;
  const bool tells;            // whether there may be quiet spans
  NodeSums sums;               // of the region, its switches, and the thread, or all, by type
  size_t active = NO_SEGMENT;  // a segment, by the boundary at its start, that is not quiet
};

}  // namespace marrowfin

#endif
