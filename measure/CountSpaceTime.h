#ifndef MEASURE_COUNTSPACETIME_H
#define MEASURE_COUNTSPACETIME_H

#include <cstddef>

#include "measure/SpaceTime.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What is to be counted, and how finely.
struct SpaceTimeQuestion {
  ArrayShape shape;
  EventFilter filter;
  SpaceTimeEvents events = SpaceTimeEvents::FIRES;
  size_t mostRows = 300;     // at least 1
  size_t mostColumns = 500;  // likewise; columns are 1, 2 or 5 times a power of ten cycles wide
  bool byThread = false;
  size_t mostThreads = 12;  // slots, that of "others" included: at least 2
};

// Counts the events that the filter lets through by place and time, in one pass by all processors;
// of more threads than can be told apart, in a second one for those that have most. The range of
// cycles is that of CyclesAsked. Takes 8 bytes a cell and slot, for each processor at most.
//
// A fault where the trace cannot be read or has no record, or `progress`, which counts records and
// is called in any of the threads, one call at a time, asked to stop.
[[nodiscard]] Result<SpaceTime> CountSpaceTime(const TraceSource& trace, const Index& index,
                                               const SpaceTimeQuestion& question,
                                               const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
