#ifndef EXPLORER_CORE_COUNTPART_H
#define EXPLORER_CORE_COUNTPART_H

#include <memory>

#include "explorer/core/Asking.h"
#include "explorer/core/CountedRuns.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Counts a part of the run that a question is about, or takes what was counted before.
[[nodiscard]] Result<std::shared_ptr<const RunCounts>> CountPart(const Asking& asking,
                                                                 const RunPart& asked);

}  // namespace marrowfin

#endif
