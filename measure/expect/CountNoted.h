#ifndef MEASURE_EXPECT_COUNTNOTED_H
#define MEASURE_EXPECT_COUNTNOTED_H

#include <vector>

#include "measure/CountRun.h"
#include "measure/RunCounts.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"

namespace marrowfin {

// CountRun of the records whose notes meet conditions as well; without conditions it is CountRun.
[[nodiscard]] Result<RunCounts> CountNoted(const TraceSource& trace, const Index& index,
                                           NotesOfTrace* notes,
                                           const std::vector<NoteCondition>& conditions,
                                           const RunQuestion& question,
                                           const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
