#include "measure/expect/CountNoted.h"

#include <algorithm>

#include "trace/ask/NotedCursor.h"

namespace marrowfin {
namespace {

RunShape ShapeOf(const RunQuestion& question, CycleRange range) {
  RunShape shape = {question.shape, question.wrapColumns, question.wrapRows, question.columnFirst,
                    TimeColumns::AtMost(range.first, range.last, question.mostColumns)};
  shape.elementPulses = question.elementPulses;
  shape.switchPulses = question.switchPulses;
  return shape;
}

}  // namespace

Result<RunCounts> CountNoted(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                             const std::vector<NoteCondition>& conditions,
                             const RunQuestion& question, const ProgressCallback& progress) {
  if (conditions.empty()) {
    return CountRun(trace, &index, question, progress);
  }
  const Summary& summary = index.GetSummary();
  const uint64_t first =
      std::clamp(question.filter.firstCycle, summary.firstCycle, summary.maxCycle);
  const uint64_t last = std::max(first, std::min(question.filter.lastCycle, summary.maxCycle));
  RunCounts counts(ShapeOf(question, {first, last}));
  NotedCursor cursor(trace, index, *notes, {question.filter, conditions}, progress);
  Selection found;
  while (cursor.Next(found)) {
    counts.Add(found);
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return counts;
}

}  // namespace marrowfin
