#include "trace/base/Fault.h"

#include <system_error>

namespace marrowfin {

namespace {

bool HasPlace(Fault::Kind kind) {
  return (kind >= Fault::CUT_RECORD && kind <= Fault::CHANGED) || kind == Fault::FAR_END;
}

}  // namespace

std::string Fault::Text() const {
  std::string text = file.empty() ? "trace" : file;
  if (HasPlace(kind)) {
    text += ": record " + std::to_string(record) + " at byte " + std::to_string(offset);
  }
  text += ": " + reason;
  if (!remedy.empty()) {
    text += "; " + remedy;
  }
  return text;
}

const char* FaultName(Fault::Kind kind) {
  switch (kind) {
    case Fault::NONE:
      return "none";
    case Fault::CUT_RECORD:
      return "cut-record";
    case Fault::UNKNOWN_TYPE:
      return "unknown-type";
    case Fault::WRONG_LENGTH:
      return "wrong-length";
    case Fault::FALLING_CYCLE:
      return "falling-cycle";
    case Fault::OUTSIDE_ARRAY:
      return "outside-array";
    case Fault::DAMAGED_INPUT:
      return "damaged-input";
    case Fault::CHANGED:
      return "changed";
    case Fault::SYSTEM:
      return "system";
    case Fault::OUT_OF_RANGE:
      return "out-of-range";
    case Fault::CANCELLED:
      return "cancelled";
    case Fault::REFUSED_INPUT:
      return "refused-input";
    case Fault::CUT_NOTES:
      return "cut-notes";
    case Fault::DAMAGED_NOTES:
      return "damaged-notes";
    case Fault::OTHER_TRACE:
      return "other-trace";
    case Fault::FAR_END:
      return "far-end";
    case Fault::DAMAGED_INDEX:
      return "damaged-index";
  }
  return "unknown";
}

Fault SystemFault(const std::string& file, const std::string& action, int errorNumber) {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = file;
  fault.reason = action + ": " + std::generic_category().message(errorNumber);
  return fault;
}

Fault CancelledFault(const std::string& file) {
  Fault fault;
  fault.kind = Fault::CANCELLED;
  fault.file = file;
  fault.reason = "stopped";
  return fault;
}

}  // namespace marrowfin
