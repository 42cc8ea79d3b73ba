#ifndef MEASURE_RUNBOUNDS_H
#define MEASURE_RUNBOUNDS_H

#include <cstdint>
#include <vector>

#include "measure/FindCauses.h"
#include "trace/base/Progress.h"

namespace marrowfin {

// The earliest cycles at which the last fire of a run could have been, had some things been
// quicker: no earlier, since each event waits for all that caused it, and what has no known cause
// happens when it did. Nothing is said of how near to it any machine can come.
struct RunBounds {
  uint64_t end = 0;           // as it was: the time of the last fire
  uint64_t noWaits = 0;       // everything takes its least time, see LeastTimes
  uint64_t freeMessages = 0;  // messages take no time either
  uint64_t instantWork = 0;   // fires take no time, messages their least
};

// The bounds of a run that has a last event. Memory: four bytes a record meanwhile, eight where the
// run has 2^31 cycles and more. A fault where the trace cannot be read, or `progress`, which counts
// records, asked to stop.
[[nodiscard]] Result<RunBounds> FindBounds(const Causes& causes,
                                           const ProgressCallback& progress = {});

// By how much later than they were fires could have been, without the last fire of the run being
// later: what is known of causes allows so much, and no more. What waited on its way between may
// allow less.
struct PlaceSlack {
  Place at;
  uint64_t fires = 0;
  uint64_t least = 0;  // cycles, of its fires
  double mean = 0;
};

struct RunSlack {
  std::vector<PlaceSlack> places;  // the least first, ties by mean, row and column
};

// The same costs and faults.
[[nodiscard]] Result<RunSlack> FindSlack(const Causes& causes,
                                         const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
