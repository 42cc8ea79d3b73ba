#ifndef MEASURE_READPARTS_H
#define MEASURE_READPARTS_H

#include <cstddef>
#include <vector>

#include "trace/ask/EventFilter.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Takes what a filter lets through of one part of a trace, in order.
class PartTaker {
 public:
  virtual ~PartTaker() = default;
  virtual void Take(const Selection& found) = 0;
};

// As many parts as there are processors to read them, within reason.
size_t PartsAtATime();

// Goes through the records that a filter lets through in `takers.size()` parts at a time, a thread
// each: as many records of the filter's range for each of them, one part behind the other. With an
// index nobody has to look for where a part begins, and what it knows to hold nothing is passed
// over.
//
// `progress`, which counts records of the range, is called in any of the threads, one call at a
// time. The fault is the one of the foremost part that met one; what was taken is of no use then.
[[nodiscard]] Fault ReadParts(const TraceSource& trace, const Index& index,
                              const EventFilter& filter, const std::vector<PartTaker*>& takers,
                              const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
