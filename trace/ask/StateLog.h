#ifndef TRACE_ASK_STATELOG_H
#define TRACE_ASK_STATELOG_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "trace/ask/ArrayState.h"
#include "trace/base/Place.h"

namespace marrowfin {

// A state that moves on by steps, and back again by those that it has kept.
//
// What a step changes is the pieces that its events touch and those that still fade from an earlier
// one: the latter are among the changes of the step before, so that no step looks at the whole
// array. Those changes are kept, the oldest of them dropped where they take more bytes than there
// is room for; turned round they lead back.
//
// It reads nothing: whoever has the events of a step gathers them here. From several threads at a
// time, each needs an object of its own.
class StateLog {
 public:
  // Begins with a state, whose codes and ages must be exact. Keeps changes of at most `room` bytes,
  // or those of one step where they take more.
  StateLog(ArrayState state, size_t room);
  StateLog(const StateLog&) = delete;
  StateLog& operator=(const StateLog&) = delete;

  // The events of the step that comes next, in order, as long as CanRedo() is false. Elements and
  // switches must be of the array. The state is good again behind Commit or Drop.
  void Fire(Place at, uint32_t thread);
  void Transmit(Place at, uint32_t thread);
  void Send(uint64_t record, uint32_t thread, Place from, Place to);

  // Forgets the events gathered.
  void Drop();

  // Takes the step. `last` and `cycle` are those of ArrayState then; cycle is kept where no record
  // was left for the step.
  void Commit(uint64_t last, uint64_t cycle, bool shown);

  // Takes back the last step, or takes it again.
  bool CanUndo() const { return position > 0; }
  bool CanRedo() const { return position < steps.size(); }
  void Undo();
  void Redo();

  const ArrayState& State() const { return state; }

  // What the last Commit, Undo or Redo changed; empty before the first. Elements and switches that
  // an event touched in a step are there even where their codes stay the same.
  const StateChanges& Changes() const { return *changes; }

  // What is kept.
  size_t KeptBytes() const { return kept; }
  size_t KeptSteps() const { return steps.size(); }

 private:
  // A step that was taken or, from `position` on, taken back: the changes are those from the side
  // on which it lies.
  struct Step {
    StateChanges changes;
    uint64_t last = 0;  // of the state on the other side
    uint64_t cycle = 0;
    bool shown = true;

    size_t Bytes() const;
  };

  static void Touch(std::vector<uint8_t>& codes, size_t number, uint32_t thread,
                    std::vector<PieceChange>& touched);
  static void Untouch(std::vector<uint8_t>& codes, std::vector<PieceChange>& touched);
  template <class Codes>
  static void Change(std::vector<PieceChange>& touched, const std::vector<PieceChange>* before,
                     std::vector<uint8_t>& codes, std::vector<PieceChange>& made);
  void MoveMessages(const StateChanges& made, bool forward);
  void Turn(Step& step, bool forward);
  void Paint(const StateChanges& made);
  void SwapMoment(Step& step);
  void Trim();

  ArrayState state;
  size_t room;
  size_t kept = 0;
  std::deque<Step> steps;
  size_t position = 0;  // how many of the steps the state is behind
  const StateChanges* changes;
  StateChanges none;
  std::vector<PieceChange> fired;  // what was gathered, with the codes before
  std::vector<PieceChange> transmitted;
  std::vector<LiveMessage> sent;
  ElementPalette elementPalette;
  SwitchPalette switchPalette;
};

}  // namespace marrowfin

#endif
