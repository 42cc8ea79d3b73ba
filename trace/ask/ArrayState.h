#ifndef TRACE_ASK_ARRAYSTATE_H
#define TRACE_ASK_ARRAYSTATE_H

#include <cstdint>
#include <deque>
#include <vector>

#include "trace/ask/Fade.h"
#include "trace/ask/PieceCode.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// A message that is still to be seen. It stays the same while it is: its age and its colour are
// those of a state.
struct LiveMessage {
  uint64_t record = 0;  // its number in the trace
  uint64_t step = 0;    // the one in which it was sent
  uint32_t thread = 0;
  Place from;
  Place to;

  friend bool operator==(const LiveMessage&, const LiveMessage&) = default;
};

// What the array looks like at a moment.
//
// Codes tell threads modulo 6. Which thread it was is told by the last event of a piece before
// record `last` (EventCursor::Previous): keeping it for all pieces would take one more byte per
// piece and keyframe, of numbers that hardly pack. Threads: a value, which one thread writes or any
// number read.
struct ArrayState {
  ArrayShape shape;
  uint64_t step = 0;   // animation steps so far
  uint64_t cycle = 0;  // the cycle of the last event applied; 0 before the first
  uint64_t first = 0;  // the records applied: `first` up to `last`, not included
  uint64_t last = 0;
  bool shown = true;  // false where the step meets the end of the trace and is never drawn
  std::vector<uint8_t> elementCodes;  // of ElementCodes, by number of the element
  std::vector<uint8_t> switchCodes;   // of SwitchCodes, by number of the switch
  std::vector<Color> elements;        // the colours of the codes, in the palettes of the step
  std::vector<Color> switches;
  std::deque<LiveMessage> messages;  // in order of the trace

  // Steps since a message was sent, at most LAST_MESSAGE_AGE, and its colour.
  uint64_t AgeOf(const LiveMessage& message) const { return step - message.step; }
  Color ColorOf(const LiveMessage& message) const { return MessageColor(AgeOf(message)); }

  friend bool operator==(const ArrayState&, const ArrayState&) = default;
};

// The array before anything has happened.
ArrayState AsBuilt(const ArrayShape& shape);

// Gives the codes their colours.
void Paint(ArrayState& state);

// A piece whose code is another one than it was.
struct PieceChange {
  uint32_t number = 0;  // of the element or the switch
  uint8_t before = 0;
  uint8_t after = 0;

  friend bool operator==(const PieceChange&, const PieceChange&) = default;
};

// What is another at one moment than it was at the moment before. Messages that are to be seen at
// both have another age and colour.
struct StateChanges {
  std::vector<PieceChange> elements;  // none twice, in no order
  std::vector<PieceChange> switches;  // likewise
  std::vector<LiveMessage> gone;      // messages, in order of the trace
  std::vector<LiveMessage> appeared;  // likewise
};

// The changes from one state to another of the same shape.
StateChanges Difference(const ArrayState& before, const ArrayState& after);

}  // namespace marrowfin

#endif
