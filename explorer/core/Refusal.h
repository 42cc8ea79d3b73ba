#ifndef EXPLORER_CORE_REFUSAL_H
#define EXPLORER_CORE_REFUSAL_H

#include <optional>
#include <string>

#include "trace/base/Fault.h"

namespace marrowfin {

// Why a question has no answer. Programs tell refusals apart by their code, which stays, and people
// by their words, which may change. Threads: a value, which one thread writes or any number read.
struct [[nodiscard]] Refusal {
  enum Code {
    BAD_QUESTION,     // it says nothing, or too much; nothing was looked at
    TOO_LARGE,        // it is longer than any question
    NO_SUCH_TRACE,    // none of that fingerprint was ever open here
    CHANGED,          // the trace was replaced or truncated
    NOT_INDEXED_YET,  // to be asked again later
    OUT_OF_RANGE,     // the trace has nothing of what was asked for
    DAMAGED,          // the trace, its index or what stands beside it is broken there
    UNREADABLE,       // the system refuses to read it
    BUSY,             // too much is being asked at once: to be asked again later
    CANCELLED,        // whoever asked does not want to know any more
    TOO_MUCH,         // the answer would be too large: a shorter range is to be chosen
    NOT_THERE,        // the companion, or what was asked for in it, does not exist
    INTERNAL,         // a mistake of this program, which nobody can do anything about
  };

  Code code = BAD_QUESTION;
  std::string message;  // what is wrong, without a full stop
  std::string file;     // any of these may be empty
  std::string place;    // where in the file
  std::string remedy;
  bool ofIndex = false;  // whether the index is to be made anew
};

typedef std::optional<Refusal> MaybeRefusal;

// "bad-question", as programs read it.
const char* RefusalName(Refusal::Code code);

Refusal BadQuestion(const std::string& message, const std::string& remedy = {});

// A fault of the trace engine, as a refusal; and nothing where there is none.
Refusal RefusalOf(const Fault& fault);
MaybeRefusal RefusalIf(const Fault& fault);

}  // namespace marrowfin

#endif
