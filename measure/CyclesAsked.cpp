#include "measure/CyclesAsked.h"

#include <algorithm>

#include "trace/ask/BatchCursor.h"

namespace marrowfin {
namespace {

void Include(const Selection& found, CycleRange& range) {
  for (const uint16_t row : found.rows) {
    range.first = std::min(range.first, found.columns->cycle[row]);
    range.last = std::max(range.last, found.columns->cycle[row]);
  }
}

}  // namespace

Result<CycleRange> CyclesAsked(const TraceSource& trace, const Index& index,
                               const EventFilter& filter, const ProgressCallback& progress) {
  const Summary& summary = index.GetSummary();
  if (summary.records == 0) {
    return NoRecords(trace);
  }
  const CycleRange asked = CycleRange{summary.firstCycle, summary.maxCycle}.Narrowed(filter);
  if (!AsksForRecords(filter, summary) && summary.Ordered()) {
    return asked;
  }
  CycleRange seen = {~uint64_t{0}, 0};
  BatchCursor cursor(trace, index, filter, progress);
  Selection found;
  if (summary.Ordered()) {
    if (cursor.Next(found)) {
      Include(found, seen);
      cursor.Seek(summary.records);
      if (cursor.Previous(found)) {
        Include(found, seen);
      }
    }
  } else {
    while (cursor.Next(found)) {
      Include(found, seen);
    }
  }
  if (const Fault& fault = cursor.GetFault()) {
    return fault;
  }
  // Where cycles fall some may lie before that of the first record.
  const bool within = asked.Has(seen) && !AsksForRecords(filter, summary);
  return seen.first > seen.last || within ? asked : seen;
}

}  // namespace marrowfin
