#include "explorer/core/Refusal.h"

namespace marrowfin {
namespace {

Refusal::Code CodeOf(Fault::Kind kind) {
  switch (kind) {
    case Fault::CHANGED:
      return Refusal::CHANGED;
    case Fault::SYSTEM:
      return Refusal::UNREADABLE;
    case Fault::OUT_OF_RANGE:
    case Fault::OUTSIDE_ARRAY:
    case Fault::FAR_END:
      return Refusal::OUT_OF_RANGE;
    case Fault::CANCELLED:
      return Refusal::CANCELLED;
    case Fault::OTHER_TRACE:
      return Refusal::NOT_THERE;
    default:
      return Refusal::DAMAGED;
  }
}

bool StandsAtARecord(Fault::Kind kind) {
  return kind == Fault::CUT_RECORD || kind == Fault::UNKNOWN_TYPE || kind == Fault::WRONG_LENGTH ||
         kind == Fault::FALLING_CYCLE || kind == Fault::OUTSIDE_ARRAY || kind == Fault::FAR_END;
}

}  // namespace

const char* RefusalName(Refusal::Code code) {
  switch (code) {
    case Refusal::BAD_QUESTION:
      return "bad-question";
    case Refusal::TOO_LARGE:
      return "too-large";
    case Refusal::NO_SUCH_TRACE:
      return "no-such-trace";
    case Refusal::CHANGED:
      return "changed";
    case Refusal::NOT_INDEXED_YET:
      return "not-indexed-yet";
    case Refusal::OUT_OF_RANGE:
      return "out-of-range";
    case Refusal::DAMAGED:
      return "damaged";
    case Refusal::UNREADABLE:
      return "unreadable";
    case Refusal::BUSY:
      return "busy";
    case Refusal::CANCELLED:
      return "cancelled";
    case Refusal::TOO_MUCH:
      return "too-much";
    case Refusal::NOT_THERE:
      return "not-there";
    case Refusal::INTERNAL:
      return "internal";
  }
  return "";
}

Refusal BadQuestion(const std::string& message, const std::string& remedy) {
  return {Refusal::BAD_QUESTION, message, {}, {}, remedy};
}

Refusal RefusalOf(const Fault& fault) {
  Refusal refusal = {CodeOf(fault.kind), fault.reason, fault.file, {}, fault.remedy};
  refusal.ofIndex = fault.kind == Fault::DAMAGED_INDEX;
  if (StandsAtARecord(fault.kind)) {
    refusal.place =
        "record " + std::to_string(fault.record) + " at byte " + std::to_string(fault.offset);
  }
  return refusal;
}

MaybeRefusal RefusalIf(const Fault& fault) {
  return fault ? MaybeRefusal(RefusalOf(fault)) : std::nullopt;
}

}  // namespace marrowfin
