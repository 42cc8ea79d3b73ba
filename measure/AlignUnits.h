#ifndef MEASURE_ALIGNUNITS_H
#define MEASURE_ALIGNUNITS_H

#include "measure/RunAlignment.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// AlignRuns by cycle or step.
[[nodiscard]] Result<RunAlignment> AlignUnits(const TraceSource& a, const TraceSource& b,
                                              const AlignQuestion& question,
                                              const ProgressCallback& progress);

}  // namespace marrowfin

#endif
