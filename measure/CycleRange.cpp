#include "measure/CycleRange.h"

#include <algorithm>

namespace marrowfin {

CycleRange CycleRange::Narrowed(const EventFilter& filter) const {
  const uint64_t from = std::clamp(filter.firstCycle, first, last);
  return {from, std::max(from, std::min(filter.lastCycle, last))};
}

bool AsksForRecords(const EventFilter& filter, const Summary& summary) {
  return filter.firstRecord != 0 || filter.lastRecord < summary.records || filter.firstStep != 0 ||
         filter.lastStep != ~uint64_t{0} || !filter.without.empty();
}

Fault NoRecords(const TraceSource& trace) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = trace.Name();
  fault.reason = "there are no records";
  return fault;
}

}  // namespace marrowfin
