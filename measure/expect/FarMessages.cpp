#include "measure/expect/FarMessages.h"

#include "trace/ask/BatchCursor.h"
#include "trace/ask/NotedCursor.h"

namespace marrowfin {
namespace {

uint64_t Apart(uint32_t a, uint32_t b) { return a > b ? a - b : b - a; }

std::optional<TraceEvent> FarIn(const Selection& found, const FarMessageQuestion& question) {
  const Columns& columns = *found.columns;
  for (size_t i = 0; i < found.Size(); ++i) {
    const size_t row = found.rows[i];
    const Place from = columns.at[row];
    const Place to = columns.to[row];
    if (question.shape.HasElement(from) && question.shape.HasElement(to) &&
        Apart(from.column, to.column) + Apart(from.row, to.row) >= question.distance) {
      return found.Event(i);
    }
  }
  return std::nullopt;
}

template <class Cursor>
Result<std::optional<TraceEvent>> FirstOf(Cursor&& cursor, const FarMessageQuestion& question) {
  Selection found;
  while (cursor.Next(found)) {
    if (const std::optional<TraceEvent> message = FarIn(found, question)) {
      return message;
    }
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return std::optional<TraceEvent>();
}

}  // namespace

Result<std::optional<TraceEvent>> FirstFarMessage(const FarMessageQuestion& question,
                                                  const ProgressCallback& progress) {
  EventFilter sends = question.filter;
  sends.fires = false;
  sends.switches = false;
  if (question.conditions.empty()) {
    return FirstOf(BatchCursor(question.trace, question.index, sends, progress), question);
  }
  return FirstOf(NotedCursor(question.trace, question.index, *question.notes,
                             {sends, question.conditions}, progress),
                 question);
}

}  // namespace marrowfin
