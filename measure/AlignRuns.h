#ifndef MEASURE_ALIGNRUNS_H
#define MEASURE_ALIGNRUNS_H

#include "measure/RunAlignment.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Holds the records of two traces against each other, both as they stand in the file and without
// an index. Runs of equal bytes are passed over without decoding both. Of traces whose cycles fall
// a cycle that is taken up again is another one; once such runs differ, which of their cycles are
// held against each other follows their numbers and may be none that belong together.
//
// Memory is one batch, and the events of one cycle or step from the first on that differs there; of
// FIRE, 24 bytes for each fire by which one run is ahead of the other.
//
// A fault where a trace cannot be read to its end: what it lacks might be the same or not. With
// `progress`, which counts bytes of both, CANCELLED where that asked to stop.
[[nodiscard]] Result<RunAlignment> AlignRuns(const TraceSource& a, const TraceSource& b,
                                             const AlignQuestion& question,
                                             const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
