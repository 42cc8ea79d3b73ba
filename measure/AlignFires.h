#ifndef MEASURE_ALIGNFIRES_H
#define MEASURE_ALIGNFIRES_H

#include "measure/RunAlignment.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// AlignRuns by the n-th fire of each element.
[[nodiscard]] Result<RunAlignment> AlignFires(const TraceSource& a, const TraceSource& b,
                                              const AlignQuestion& question,
                                              const ProgressCallback& progress);

}  // namespace marrowfin

#endif
