#ifndef TOOLS_PROGRAM_FAILURE_H
#define TOOLS_PROGRAM_FAILURE_H

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>

#include "tools/program/ExitCode.h"

namespace marrowfin {

// Why a subcommand could not do its work, in words for its user.
struct Failure {
  ExitCode code;
  std::string reason;  // begins with the file, and the place in it where there is one
  std::string remedy;  // what the user can do about it
};

// Nothing when all went well.
using MaybeFailure = std::optional<Failure>;

// The failure of a system call on `path`, from errno: "PATH: cannot ACT: TEXT OF THE SYSTEM".
inline Failure SystemFailure(ExitCode code, const std::string& path, const std::string& act,
                             const std::string& remedy) {
  return {code, path + ": cannot " + act + ": " + std::strerror(errno), remedy};
}

}  // namespace marrowfin

#endif
