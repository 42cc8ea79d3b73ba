#ifndef MEASURE_CYCLERANGE_H
#define MEASURE_CYCLERANGE_H

#include <cstdint>

#include "trace/ask/EventFilter.h"
#include "trace/base/Fault.h"
#include "trace/read/Summary.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The cycles of the first and the last record of a trace, or of a part of one; both are in it.
struct CycleRange {
  uint64_t first = 0;
  uint64_t last = 0;

  // Cycles in it, as a number that can be divided by: there may be 2^64.
  double Length() const { return static_cast<double>(last - first) + 1; }

  bool Has(const CycleRange& other) const { return other.first >= first && other.last <= last; }

  // The cycles that a filter asks for, as far as they lie in it; where none do, the nearest one.
  CycleRange Narrowed(const EventFilter& filter) const;

  friend bool operator==(const CycleRange&, const CycleRange&) = default;
};

// Whether a filter asks for records or steps, or leaves events out, so that nobody knows the cycles
// before they are read. One that ends where the trace does asks for all records.
bool AsksForRecords(const EventFilter& filter, const Summary& summary);

// That a trace has no records, of which cycles were asked: OUT_OF_RANGE.
Fault NoRecords(const TraceSource& trace);

}  // namespace marrowfin

#endif
