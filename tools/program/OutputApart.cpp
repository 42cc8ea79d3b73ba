#include "tools/program/OutputApart.h"

#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/program/Output.h"
#include "trace/read/AboutFile.h"
#include "trace/read/NotesFile.h"
#include "trace/write/AtomicFile.h"
#include "trace/write/LinkTarget.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;

// The file that `name` leads to, whether it is there yet or not.
fs::path TargetOf(const std::string& name) {
  std::error_code error;
  const fs::path path = LinkTarget(name);
  const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
  return fs::weakly_canonical(folder, error) / path.filename();
}

struct Neighbour {
  std::string name;
  const char* what;
};

std::vector<Neighbour> CompanionOf(const std::string& trace) {
  return {{AboutBeside(trace), "is what is told about the trace, in its companion"},
          {NotesFile::NameBeside(trace), "is the notes in the trace's companion"},
          {NotesFile::NameBeside(trace) + ".mfindex", "is the index of the trace's notes"}};
}

MaybeFailure CheckApart(const std::string& trace, const std::string& output, bool isIndex,
                        const std::string& flag) {
  std::vector<Neighbour> taken = {{trace, "is the trace"}};
  // A trace that is named by a link has neighbours here and there.
  for (const std::string& name : {trace, TargetOf(trace).string()}) {
    for (Neighbour& neighbour : CompanionOf(name)) {
      taken.push_back(std::move(neighbour));
    }
    if (!isIndex) {
      taken.push_back({name + ".mfindex", "is the index of the trace"});
    }
  }
  if (output == STANDARD_STREAM) {
    return std::nullopt;
  }
  const fs::path target = TargetOf(output);
  for (const Neighbour& neighbour : taken) {
    if (IsSameFile(neighbour.name, output) || TargetOf(neighbour.name) == target) {
      return Failure{EXIT_USAGE, output + ": " + neighbour.what,
                     "Name another file with " + flag + "."};
    }
  }
  return std::nullopt;
}

}  // namespace

MaybeFailure CheckOutputApart(const std::string& trace, const std::string& output,
                              const std::string& flag) {
  return CheckApart(trace, output, false, flag);
}

MaybeFailure CheckIndexApart(const std::string& trace, const std::string& output) {
  return CheckApart(trace, output, true, "-o");
}

bool AreOneOutput(const std::string& a, const std::string& b) {
  const bool isStandard = IsStandardOutput(a);
  if (isStandard || IsStandardOutput(b)) {
    return isStandard && IsStandardOutput(b);
  }
  return IsSameFile(a, b) || TargetOf(a) == TargetOf(b);
}

}  // namespace marrowfin
