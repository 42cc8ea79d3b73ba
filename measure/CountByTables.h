#ifndef MEASURE_COUNTBYTABLES_H
#define MEASURE_COUNTBYTABLES_H

#include <optional>

#include "measure/RunCounts.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What the tables of an index tell of the cycles of shape.columns without going through the records
// between: of each element fires, sends and receives, of each switch transmissions, and of each
// column the records by type and thread (of which 16 are told apart). Everything else stays at 0.
// Takes some milliseconds however long the trace, and to read the records around the edges of
// columns.
//
// `progress` is told the share that is done; CANCELLED where it asked to stop.
//
// Nothing where the tables do not tell: cycles fall, there are more places than an index keeps, or
// every thread is wanted and there are more than are told apart.
[[nodiscard]] Result<std::optional<RunCounts>> CountByTables(const TraceSource& trace,
                                                             const Index& index,
                                                             const RunShape& shape,
                                                             bool everyThread,
                                                             const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
