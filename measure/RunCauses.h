#ifndef MEASURE_RUNCAUSES_H
#define MEASURE_RUNCAUSES_H

#include <cstdint>
#include <optional>

#include "measure/CausalChain.h"
#include "measure/FindCauses.h"
#include "measure/RunBounds.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The numbers of what led to the end of a run: its critical path, how early it could have ended,
// and how much later its elements could have fired.
struct RunCauses {
  CauseCounts counts;
  uint64_t firstTime = 0;                    // of the run
  CausalChain chain;                         // the critical path
  std::optional<TraceEvent> longestMessage;  // of the chain, where there is any
  RunBounds bounds;
  RunSlack slack;
};

// Finds them; nothing of a run without fires and messages. Costs and faults as of FindCauses and
// FindBounds.
[[nodiscard]] Result<std::optional<RunCauses>> FindRunCauses(const TraceSource& trace,
                                                             const Index& index,
                                                             NotesOfTrace* notes,
                                                             const CauseQuestion& question,
                                                             const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
