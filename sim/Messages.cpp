#include "sim/Messages.h"

#include "Util/AppendFormat.h"

namespace marrowfin::sim {

const char* OperandMessage::ToString(std::string& s) const {
  Message::ToString(s);
  AppendFormat(s, ": %g for port %u of operation %u, thread %u, iteration %llu", value, toPort,
               toSlot, thread, iteration);
  return s.c_str();
}

const char* MemoryMessage::ToString(std::string& s) const {
  Message::ToString(s);
  AppendFormat(s, ": %s %g at %u", isStore ? "store" : "load", value, address);
  return s.c_str();
}

}  // namespace marrowfin::sim
