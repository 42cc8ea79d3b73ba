#ifndef MEASURE_COUNTPAIRS_H
#define MEASURE_COUNTPAIRS_H

#include <cstdint>
#include <optional>

#include "measure/Distribution.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// A message and the cycle of the fire that consumed it.
struct ConsumedMessage {
  TraceEvent message;
  uint64_t consumed = 0;
};

// How long messages take from their sends to the fires that consume them.
struct PairCounts {
  ValueCounts cycles;
  std::optional<ConsumedMessage> slowest;  // of equally slow ones that which was consumed first
};

// Counts the pairs of which both ends are let through by the filter's conditions for events, and
// the message by those on notes, in one pass; as CountGroups does, of which it is the sum. Nothing
// where notes (null where there are none) do not tell what fires consumed. A fault where the trace
// cannot be read, or `progress`, which counts records, asked to stop.
[[nodiscard]] Result<std::optional<PairCounts>> CountPairs(const TraceSource& trace,
                                                           const Index& index, NotesOfTrace* notes,
                                                           const NotedFilter& filter,
                                                           const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
