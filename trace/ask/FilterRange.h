#ifndef TRACE_ASK_FILTERRANGE_H
#define TRACE_ASK_FILTERRANGE_H

#include <cstdint>

#include "trace/ask/EventFilter.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The records `begin` up to `end` (not included).
struct RecordRange {
  uint64_t begin = 0;
  uint64_t end = 0;
};

// The records among which all are that a filter lets through: its ranges of records and steps, that
// of cycles where the cycles of the trace do not fall, and nothing where the trace has no event of
// the thread. Reads the neighbourhood of the ends of ranges; in a trace whose cycles fall, finding
// the step to which a viewer skips may take reading from the start. `progress` is asked whether to
// go on, and told that nothing is done yet. A fault where trace or index cannot be read or
// contradict each other. Threads: any number may call these at a time, each with an index of its
// own.
[[nodiscard]] Result<RecordRange> RangeOf(const TraceSource& trace, const Index& index,
                                          const EventFilter& filter,
                                          const ProgressCallback& progress = {});

// Whether the filter might let through what stood behind the last record: of a trace that breaks
// off, an answer then lacks it. Costs what RangeOf does.
[[nodiscard]] Result<bool> ReachesBehindEnd(const TraceSource& trace, const Index& index,
                                            const EventFilter& filter,
                                            const ProgressCallback& progress = {});

// The same conditions for records of such a range: what the range stands for is left out.
EventFilter WithinRange(const Index& index, const EventFilter& filter, const RecordRange& range);

// The same conditions with those that leave events out said by records and not by steps, as a
// Selector takes them. Costs what RangeOf does for each of them.
[[nodiscard]] Result<EventFilter> WithoutByRecords(const TraceSource& trace, const Index& index,
                                                   const EventFilter& filter,
                                                   const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
