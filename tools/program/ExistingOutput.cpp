#include "tools/program/ExistingOutput.h"

#include <sys/stat.h>

#include "tools/program/Output.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

void AddForce(CLI::App& app, bool& force) {
  app.add_flag("--force", force, "Replace an output that exists");
}

MaybeFailure CheckNotThere(const std::string& output, bool force) {
  struct stat existing;
  if (force || IsStandardOutput(output) || stat(output.c_str(), &existing) == -1 ||
      !S_ISREG(existing.st_mode)) {
    return std::nullopt;
  }
  return Failure{EXIT_USAGE, output + ": exists already",
                 "Name another file, or replace this one with --force."};
}

std::vector<std::string> FilesOfTrace(const std::string& output) {
  return output == STANDARD_STREAM
             ? std::vector<std::string>{output}
             : std::vector<std::string>{output, AboutBeside(output), NotesFile::NameBeside(output)};
}

MaybeFailure CheckTraceNotThere(const std::string& output, bool force) {
  for (const std::string& file : FilesOfTrace(output)) {
    if (MaybeFailure failure = CheckNotThere(file, force)) {
      return failure;
    }
  }
  return std::nullopt;
}

}  // namespace marrowfin
