#ifndef MEASURE_EXPECT_FARMESSAGES_H
#define MEASURE_EXPECT_FARMESSAGES_H

#include <cstdint>
#include <optional>
#include <vector>

#include "trace/ask/EventFilter.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The first message with both ends in the array whose distance is at least so many columns and
// rows, among the events that a filter lets through and, with `notes`, conditions on notes; nothing
// where there is none. `progress` counts records.
struct FarMessageQuestion {
  const TraceSource& trace;
  const Index& index;
  NotesOfTrace* notes;  // may be null where there are no conditions
  EventFilter filter;
  std::vector<NoteCondition> conditions;
  ArrayShape shape;
  uint64_t distance;
};
[[nodiscard]] Result<std::optional<TraceEvent>> FirstFarMessage(
    const FarMessageQuestion& question, const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
