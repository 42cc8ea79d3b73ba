#ifndef TRACE_READ_OUTOFORDER_H
#define TRACE_READ_OUTOFORDER_H

#include <string>

#include "trace/base/Fault.h"

namespace marrowfin {

// The fault of a file that is read from front to back and no other way; `what` it is: "a pipe".
inline Fault CannotReadOutOfOrder(const std::string& name, const std::string& what) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = name;
  fault.reason = what + " cannot be read out of order";
  fault.remedy = "copy or unpack it into a plain file";
  return fault;
}

}  // namespace marrowfin

#endif
