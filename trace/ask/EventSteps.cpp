#include "trace/ask/EventSteps.h"

namespace marrowfin {

// The step of the record behind one: one more than the changes of cycle that the viewer has met by
// then, for which the first record of step 1 is one unless its cycle is 0.
uint64_t EventSteps::StepBehind(const Place& before) const {
  return before.record < steps->start ? 1 : 1 + steps->early + before.changes - steps->changes;
}

Fault EventSteps::FindBefore(uint64_t record) {
  const Result<IndexEntry> found = Locate(trace, index, record);
  if (!found) {
    return found.Why();
  }
  last = Place{record, found->cycle, found->changes};
  return {};
}

Fault EventSteps::Take(const Columns& columns) {
  if (!steps) {
    const Result<ViewerSteps> found = FindSteps(trace, index, 0);
    if (!found) {
      return found.Why();
    }
    steps = *found;
  }
  const uint64_t first = columns.firstRecord;
  if (first > 0 && (!last || last->record + 1 != first)) {
    if (Fault fault = FindBefore(first - 1)) {
      return fault;
    }
  }
  for (size_t i = 0; i < columns.size; ++i) {
    const uint64_t record = first + i;
    const uint64_t cycle = columns.cycle[i];
    told[i] = record == 0 ? 0 : StepBehind(*last);
    const uint64_t changes = record == 0 ? 0 : last->changes + (cycle != last->cycle ? 1 : 0);
    last = Place{record, cycle, changes};
  }
  return {};
}

}  // namespace marrowfin
