#ifndef TRACE_ASK_STATECURSOR_H
#define TRACE_ASK_STATECURSOR_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "trace/ask/ArrayState.h"
#include "trace/ask/StateReader.h"
#include "trace/ask/Walk.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

class StateLog;

// A state that is put at any moment, as StateReader tells it, and then goes on step by step, to and
// fro: what it costs follows the events of a step and not the array.
//
// Forward, it reads the records of the next step. Back, it turns round what the steps before
// changed, which is kept up to a number of bytes. Where nothing is kept, it begins at a moment
// before, mostly at a keyframe, and goes forward from there: at first a few steps, and ever longer
// stretches where the way back goes on, so that a long one costs as much per step as the way
// forward and back again.
//
// In the natural reading of a trace whose cycles fall, each step is a question of its own, which
// reads the whole trace.
//
// A call that ends with a fault leaves everything as it was, the moment too. Trace and index must
// outlive the cursor. From several threads at a time, each needs a cursor and an index of its own.
class StateCursor {
 public:
  static constexpr size_t KEPT_BYTES = 16 << 20;

  // Keeps changes of at most `keptBytes`, or those of one step where they take more.
  StateCursor(const TraceSource& trace, const Index& index, ArrayShape shape,
              size_t keptBytes = KEPT_BYTES);
  StateCursor(const StateCursor&) = delete;
  StateCursor& operator=(const StateCursor&) = delete;
  ~StateCursor();

  // Puts the state at a moment, for the same answers and faults as StateReader::AtStep and AtCycle.
  // Steps are then those of a viewer that skips to cycle `skipTo`, or of the natural reading, each
  // of which is the next cycle that has events.
  [[nodiscard]] Fault MoveToStep(uint64_t step, uint64_t skipTo,
                                 const ProgressCallback& progress = {});
  [[nodiscard]] Fault MoveToCycle(uint64_t cycle, const ProgressCallback& progress = {});

  // Goes to the next step or the one before; false where there is none, or before the first
  // MoveTo. The last step of a viewer is the one in which the trace ends; the first moment is that
  // before all events in both readings. Progress, in a measure of its own, is told where a step has
  // more than a batch of records, or where more than that is read for it.
  Result<bool> Next(const ProgressCallback& progress = {});
  Result<bool> Previous(const ProgressCallback& progress = {});

  // The state, in every part as StateReader would tell it; as built before the first MoveTo. Good
  // until the next call.
  const ArrayState& State() const;

  // What the last Next or Previous changed, for whoever keeps a picture: nothing after MoveTo.
  // Pieces that an event of the step touched are told of even where their codes stay the same.
  // The colour of pieces that nothing has touched depends on the step, see ElementPaletteAt. Good
  // until the next call.
  const StateChanges& Changes() const;

  // How many records the steps have decoded so far, without those that a question from scratch
  // reads.
  uint64_t RecordsRead() const;

 private:
  // How records are taken up.
  struct Reading {
    bool natural = false;
    ViewerSteps steps;      // of a viewer; of the natural reading they are all zero
    uint64_t lastStep = 0;  // a viewer's is the one in which the trace ends
  };
  struct Track;

  std::unique_ptr<Track> NewTrack(ArrayState state) const;
  void Place(const Reading& of, ArrayState state);
  void Change(std::unique_ptr<Track> to);
  Fault Advance(Track& on, const ProgressCallback& progress) const;
  Fault Gather(const Columns& columns, size_t from, size_t to, StateLog& log) const;
  Fault Rewind(const ProgressCallback& progress);
  Result<uint64_t> StartBefore(const ArrayState& state) const;
  Result<uint64_t> StepOf(uint64_t record) const;
  Result<bool> Jump(bool forward, const ProgressCallback& progress);

  const TraceSource& trace;
  const Index& index;
  ArrayShape shape;
  size_t keptBytes;
  StateReader reader;

  Reading reading;
  std::unique_ptr<Track> track;
  uint64_t stretch;               // how many steps the next Rewind goes back
  std::optional<uint64_t> cycle;  // where cycles fall, of the natural reading; none before all
  StateChanges jumped;            // what a Jump changed
  bool hasJumped = false;         // whether that was the last move
  uint64_t recordsRead = 0;       // on tracks that were left
};

}  // namespace marrowfin

#endif
