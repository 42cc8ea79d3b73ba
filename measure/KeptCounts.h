#ifndef MEASURE_KEPTCOUNTS_H
#define MEASURE_KEPTCOUNTS_H

#include <cstdint>
#include <memory>
#include <optional>

#include "measure/CountRun.h"
#include "measure/RunCounts.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/index/IndexStore.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Counts of whole runs are kept beside the index, which tells no distances, links, busy cycles and
// gaps: who asks the second time waits for reading some megabytes. docs/index-format.md tells how
// they are written.

// Where the counts of an index's trace are kept: beside the index (TRACE.mfindex has
// TRACE.mfcounts). Null where that has no name.
std::unique_ptr<IndexStore> KeptCountsOf(const TraceSource& trace, const Index& index);

// What was kept of this very trace for this array; nothing where there is none, or it is damaged or
// contradicts the index.
std::optional<RunCounts> FindKeptCounts(const IndexStore& store, const Index& index,
                                        const RunShape& shape);

// Keeps the counts of the whole of an index's trace instead of what was kept before. A fault where
// they cannot be written.
[[nodiscard]] Fault KeepCounts(IndexStore& store, const Index& index, const RunShape& shape,
                               const RunCounts& counts);

// Shorter traces are counted in less time than anybody notices.
constexpr uint64_t LEAST_KEPT_RECORDS = 1 << 20;

// CountRun; but where all of an orderly trace is counted, what was kept answers, and what was not
// is kept from now on. That nothing can be kept is no fault: it only takes longer. `store` may be
// null.
[[nodiscard]] Result<RunCounts> CountRunOnce(const TraceSource& trace, const Index& index,
                                             IndexStore* store, const RunQuestion& question,
                                             const ProgressCallback& progress = {},
                                             uint64_t leastRecords = LEAST_KEPT_RECORDS);

}  // namespace marrowfin

#endif
