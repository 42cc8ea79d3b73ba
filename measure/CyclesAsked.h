#ifndef MEASURE_CYCLESASKED_H
#define MEASURE_CYCLESASKED_H

#include "measure/CycleRange.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The range of cycles that a filter asks for: its own, as far as the trace has them, or where it
// asks for records or steps the cycles that the events of those have. Nothing is counted for it;
// only in a trace whose cycles fall those records are gone through, so that none of their cycles is
// left out. Where no event is let through, the cycles that were asked for.
//
// OUT_OF_RANGE where the trace has no record; other faults where it cannot be read, or `progress`,
// which counts records, asked to stop.
[[nodiscard]] Result<CycleRange> CyclesAsked(const TraceSource& trace, const Index& index,
                                             const EventFilter& filter,
                                             const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
