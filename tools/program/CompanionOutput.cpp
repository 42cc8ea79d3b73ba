#include "tools/program/CompanionOutput.h"

#include <sys/stat.h>

#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"
#include "trace/write/AboutText.h"
#include "trace/write/Recorder.h"

namespace marrowfin {
namespace {

MaybeFailure FailureOfCompanion(const Fault& fault) {
  if (!fault) {
    return std::nullopt;
  }
  Failure failure = OutputFailureOf(fault);
  failure.remedy += failure.remedy.empty() ? "" : " ";
  failure.remedy += "The trace can be written without its companion: --no-companion.";
  return failure;
}

}  // namespace

MaybeFailure CompanionOutput::Open(const std::string& name, int descriptor) {
  trace = name;
  AtomicFileOptions options;
  options.chosen = false;
  struct stat status;
  if (fstat(descriptor, &status) == 0) {
    options.permissions = status.st_mode & 0777;
  }
  Fault fault = notes.Open(NotesFile::NameBeside(name), options);
  if (!fault) {
    fault = about.Open(AboutBeside(name), options);
  }
  return FailureOfCompanion(fault);
}

MaybeFailure CompanionOutput::Commit(const About& facts) {
  const std::string text = AboutText(facts);
  Fault fault = about.Write(reinterpret_cast<const uint8_t*>(text.data()), text.size()).fault;
  if (!fault) {
    fault = notes.Commit();
  }
  if (!fault) {
    fault = about.Commit();
    if (fault) {
      RemoveCompanion(trace);
    }
  }
  return FailureOfCompanion(fault);
}

}  // namespace marrowfin
