#ifndef TOOLS_PROGRAM_SETFACT_H
#define TOOLS_PROGRAM_SETFACT_H

#include <string>

#include "tools/program/Failure.h"
#include "trace/base/About.h"

namespace marrowfin {

// Sets what "KEY=VALUE" says of a run. Keys are name, command, date, tool, cycle_ns, thread.N (the
// name of a thread) and place.C,R (the name of a place). A refusal, with EXIT_USAGE, of any other
// text and of numbers that are none.
[[nodiscard]] MaybeFailure SetFact(const std::string& fact, About& about);

}  // namespace marrowfin

#endif
