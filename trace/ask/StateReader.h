#ifndef TRACE_ASK_STATEREADER_H
#define TRACE_ASK_STATEREADER_H

#include <cstdint>
#include <span>

#include "trace/ask/ArrayState.h"
#include "trace/ask/Walk.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Tells what the viewer shows at any step of a trace, without the steps before it; what a step is,
// ViewerSteps tells.
//
// The state comes from the nearest keyframe before it, the records between, and the rule by which
// colours fade; of messages, from the records of the last twelve steps. Trace and index must
// outlive the reader.
//
// Some questions go through all records up to the moment: those about a trace whose cycles fall,
// about one with locations that the array or the index has no room for. They tell `progress`, in a
// measure of their own, how far they are. Threads: one at a time, each with an index of its own.
class StateReader {
 public:
  StateReader(const TraceSource& trace, const Index& index, ArrayShape shape)
      : trace(trace), index(index), shape(shape) {}

  // The steps that a viewer which skips to cycle `skipTo` (its option -F) draws before it meets the
  // end of the trace.
  Result<uint64_t> CountSteps(uint64_t skipTo, const ProgressCallback& progress = {}) const;

  // What that viewer shows after `step` animation steps: 0 is the array as built, and one step more
  // than CountSteps is the step in which the trace ends. Any later step is a fault, and so is one
  // that comes after an event at a location which the array does not have: the viewer ends there.
  Result<ArrayState> AtStep(uint64_t step, uint64_t skipTo,
                            const ProgressCallback& progress = {}) const;

  // The state with every event up to and including `cycle` applied and none lost, where each step
  // is one cycle that has events: the natural reading, in which neither is the first event skipped
  // nor does a step take in the first event of the next cycle. An event among them at a location
  // which the array does not have is a fault here too.
  Result<ArrayState> AtCycle(uint64_t cycle, const ProgressCallback& progress = {}) const;

 private:
  friend class StateCursor;
  struct Clock;

  Fault FillStep(uint64_t step, uint64_t skipTo, ArrayState& state,
                 const ProgressCallback& progress) const;
  Fault FillCycle(uint64_t cycle, ArrayState& state, const ProgressCallback& progress) const;
  // The state at a step up to which all locations are known to be on the array, of the natural
  // reading or of a viewer with these steps.
  Result<ArrayState> FillKnown(const ViewerSteps& steps, bool natural, uint64_t step,
                               const ProgressCallback& progress) const;
  Fault Fill(const Clock& clock, ArrayState& state, const ProgressCallback& progress) const;
  Result<uint64_t> FromKeyframe(const Clock& clock, ArrayState& state) const;
  void TakeKeyframe(const Clock& clock, const IndexBoundary& boundary,
                    std::span<const uint8_t> keyframe, ArrayState& state) const;
  Fault ForgetSkipped(const Clock& clock, uint64_t until, ArrayState& state) const;
  Fault ApplyRecords(const Clock& clock, uint64_t first, uint64_t last, bool older,
                     ArrayState& state, const ProgressCallback& progress = {}) const;
  Fault AddMessages(const Clock& clock, ArrayState& state) const;
  Result<uint64_t> FirstMessage(const Clock& clock, const ArrayState& state) const;
  Fault CheckLocations(const ArrayState& state, const ProgressCallback& progress) const;
  Fault FillCycleUnordered(uint64_t cycle, ArrayState& state,
                           const ProgressCallback& progress) const;

  const TraceSource& trace;
  const Index& index;
  ArrayShape shape;
};

}  // namespace marrowfin

#endif
