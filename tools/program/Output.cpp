#include "tools/program/Output.h"

#include <sys/stat.h>
#include <unistd.h>

namespace marrowfin {

bool IsStandardOutput(const std::string& path) {
  if (path == STANDARD_STREAM) {
    return true;
  }
  struct stat named;
  struct stat standard;
  if (stat(path.c_str(), &named) == -1 || fstat(STDOUT_FILENO, &standard) == -1) {
    return false;
  }
  // Devices that keep nothing, as /dev/null, mix nothing up.
  const bool keeps = !S_ISCHR(named.st_mode) || isatty(STDOUT_FILENO) != 0;
  return keeps && named.st_dev == standard.st_dev && named.st_ino == standard.st_ino;
}

std::ostream& AccountStream(const Console& console, const std::string& path) {
  return IsStandardOutput(path) ? console.err : console.out;
}

MaybeFailure Output::Open(const std::string& path) {
  if (path == STANDARD_STREAM) {
    return OpenStandard();
  }
  if (IsStandardOutput(path)) {
    standard.emplace(STDOUT_FILENO, path);
    return std::nullopt;
  }
  const Fault fault = file.Open(path);
  return fault ? MaybeFailure(OutputFailureOf(fault)) : std::nullopt;
}

MaybeFailure Output::OpenStandard() {
  if (isatty(STDOUT_FILENO) != 0) {
    return Failure{EXIT_USAGE, "standard output is a terminal",
                   "Send it to a file or a pipe, or name a file."};
  }
  standard.emplace(STDOUT_FILENO, STANDARD_OUTPUT);
  return std::nullopt;
}

ByteSink& Output::Sink() { return standard ? static_cast<ByteSink&>(*standard) : file; }

std::optional<int> Output::PlainDescriptor() const {
  return file.IsPlain() ? std::optional(file.Descriptor()) : std::nullopt;
}

MaybeFailure Output::Commit() {
  const Fault fault = standard ? Fault() : file.Commit();
  return fault ? MaybeFailure(OutputFailureOf(fault)) : std::nullopt;
}

}  // namespace marrowfin
