#ifndef TOOLS_PROGRAM_FAILURE_H
#define TOOLS_PROGRAM_FAILURE_H

#include <optional>
#include <string>

#include "tools/program/ExitCode.h"
#include "trace/base/Fault.h"

namespace marrowfin {

// What messages call it.
constexpr char STANDARD_OUTPUT[] = "standard output";

// Why a subcommand could not do its work, in words for its user.
struct Failure {
  ExitCode code;
  std::string reason;  // begins with the file, and the place in it where there is one
  std::string remedy;  // what the user can do about it
};

// Nothing when all went well.
using MaybeFailure = std::optional<Failure>;

// The answer no of a subcommand that tells it by its status: nothing failed, and nothing more is
// said.
Failure AnswerNo();
bool IsAnswerNo(const MaybeFailure& failure);

// A failure of such a subcommand: EXIT_TROUBLE in place of EXIT_INPUT, which is its no.
MaybeFailure AsTrouble(MaybeFailure failure);

// Whether standard output could not be written.
bool IsOfStandardOutput(const Fault& fault);

// A fault in the words of the programs: of an input, or of an output that cannot be written.
Failure FailureOf(const Fault& fault);
Failure OutputFailureOf(const Fault& fault);

// The failure of a system call on `path`, from errno: "PATH: cannot ACT: TEXT OF THE SYSTEM".
Failure SystemFailure(ExitCode code, const std::string& path, const std::string& act,
                      const std::string& remedy);

}  // namespace marrowfin

#endif
