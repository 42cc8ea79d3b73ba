#ifndef SIM_MESSAGES_H
#define SIM_MESSAGES_H

#include <string>

#include "Core/Message.h"
#include "Util/Types.h"
#include "trace/write/NoteHandles.h"

namespace marrowfin::sim {

// One operand on its way from the processing element that computed it to one that waits for it.
// The same message is sent on from unit to unit.
class OperandMessage : public Message {
 public:
  Message* Clone() override { return new OperandMessage(*this); }

  using Printable::ToString;
  const char* ToString(std::string& s) const override;

  double value = 0;
  uint32 thread = 0;
  Cycle iteration = 0;

  // Where it comes from and where it goes: processing element, operation and port of that.
  uint32 fromPe = 0;
  uint32 toPe = 0;
  uint32 toSlot = 0;
  uint32 toPort = 0;
  uint32 toDomain = 0;

  Cycle sentAt = 0;
  Cycle bornAt = 0;        // of the fire whose result it is
  RecordNumber sending{};  // in the trace
  uint32 hops = 0;         // transmissions by switches so far

  // Of the link that it is on: the queue at its end, and the cycle of arrival there.
  uint32 input = 0;
  Cycle readyAt = 0;
};

// An access to the memory of a cluster. The memory sends the same message back as its answer.
class MemoryMessage : public Message {
 public:
  Message* Clone() override { return new MemoryMessage(*this); }

  using Printable::ToString;
  const char* ToString(std::string& s) const override;

  bool isStore = false;
  uint32 address = 0;  // in words
  double value = 0;    // what is stored or was loaded
  uint32 result = 0;   // which result of the processing element it belongs to
  Cycle readyAt = 0;   // when the memory can start, then when it is done
};

}  // namespace marrowfin::sim

#endif
