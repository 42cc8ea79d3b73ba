#ifndef TRACE_ASK_EVENTSTEPS_H
#define TRACE_ASK_EVENTSTEPS_H

#include <array>
#include <cstdint>
#include <optional>

#include "trace/ask/Walk.h"
#include "trace/base/Fault.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The steps of a viewer that skips nothing, of records that are read batch by batch: mostly one
// behind another, which costs a look at each; any other takes finding the record before it first.
// Trace and index outlive it. Threads: one at a time.
class EventSteps {
 public:
  EventSteps(const TraceSource& trace, const Index& index) : trace(trace), index(index) {}

  // Takes a batch; a fault where trace or index cannot be read.
  [[nodiscard]] Fault Take(const Columns& columns);

  // The step that takes up record i of that batch.
  uint64_t Step(size_t i) const { return told[i]; }

 private:
  // What is known of a record.
  struct Place {
    uint64_t record = 0;
    uint64_t cycle = 0;
    uint64_t changes = 0;  // of cycle, from record 0 up to and including this one
  };

  uint64_t StepBehind(const Place& before) const;
  Fault FindBefore(uint64_t record);

  const TraceSource& trace;
  const Index& index;
  std::optional<ViewerSteps> steps;
  std::optional<Place> last;  // the record before the next batch, where that follows
  std::array<uint64_t, Columns::CAPACITY> told;
};

}  // namespace marrowfin

#endif
