#ifndef TRACE_ASK_REGIONACTIVITY_H
#define TRACE_ASK_REGIONACTIVITY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "trace/ask/ActivityReader.h"
#include "trace/ask/Region.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How much activity each of `bins` equal spans of the cycles `first` to `last` (included) saw in a
// region of the array: one pass over the records where the spans are short, differences of the
// index's sums where they are long. For traces whose cycles do not fall. `progress` counts records.
// Threads: any number may call this at a time, each with an index of its own.
Result<std::vector<uint64_t>> ActivityOverTime(const TraceSource& trace, const Index& index,
                                               uint64_t first, uint64_t last, size_t bins,
                                               Activity kind,
                                               const std::optional<Region>& region = {},
                                               const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
