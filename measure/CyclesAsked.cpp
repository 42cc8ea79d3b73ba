#include "measure/CyclesAsked.h"

#include <algorithm>

#include "trace/ask/BatchCursor.h"

namespace marrowfin {
namespace {

Fault NoRecords(const TraceSource& trace) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = trace.Name();
  fault.reason = "there are no records";
  return fault;
}

bool AsksForRecords(const EventFilter& filter) {
  return filter.firstRecord != 0 || filter.lastRecord != ~uint64_t{0} || filter.firstStep != 0 ||
         filter.lastStep != ~uint64_t{0};
}

// The cycles asked for, as far as there are any.
CycleRange Narrowed(const Summary& summary, const EventFilter& filter) {
  const uint64_t first = std::clamp(filter.firstCycle, summary.firstCycle, summary.maxCycle);
  return {first, std::max(first, std::min(filter.lastCycle, summary.maxCycle))};
}

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
  const CycleRange asked = Narrowed(summary, filter);
  if (!AsksForRecords(filter)) {
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
  return seen.first > seen.last ? asked : seen;
}

}  // namespace marrowfin
