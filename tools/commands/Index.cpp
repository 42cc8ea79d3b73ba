#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <string_view>

#include "tools/program/ExistingOutput.h"
#include "tools/program/Interruption.h"
#include "tools/program/Json.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"

namespace marrowfin {
namespace {

constexpr char indexFooter[] =
    "Examples:\n"
    "  marrowfin-trace index run.trace\n"
    "  marrowfin-trace index run.trace --output run.mfindex\n"
    "\n"
    "The index lies beside the trace (TRACE.mfindex) or, where that folder cannot be written, in\n"
    "the cache folder ($XDG_CACHE_HOME/marrowfin or ~/.cache/marrowfin). One that is there and\n"
    "still right is kept, one of a trace that has grown since is extended, and one that is\n"
    "damaged is built anew.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off, 2 command line refused,\n"
    "3 no index of it can be kept.";

struct IndexFlags {
  std::string trace;
  std::string output;
  bool json = false;
  bool force = false;
};

bool IsLink(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// An index, be it of another trace, of an earlier version or damaged, can be built again.
bool IsIndex(const std::string& path) {
  if (path.ends_with(".mfindex")) {
    return true;
  }
  constexpr std::string_view BEGINNING = "MFINDEX";
  std::string bytes(BEGINNING.size(), '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return file && bytes == BEGINNING;
}

// Refuses an output whose replacement would destroy something else. A link is followed, so that the
// file that it names is the one that is replaced.
MaybeFailure CheckOutput(const IndexFlags& flags, std::string& output) {
  constexpr char remedy[] = "Name another file with -o.";
  if (MaybeFailure failure = CheckIndexApart(flags.trace, output)) {
    return failure;
  }
  struct stat existing;
  if (stat(output.c_str(), &existing) == -1) {
    return std::nullopt;
  }
  if (!S_ISREG(existing.st_mode)) {
    return Failure{EXIT_SYSTEM, output + ": cannot write the index: is no plain file", remedy};
  }
  if (access(output.c_str(), W_OK) == -1) {
    return SystemFailure(EXIT_SYSTEM, output, "replace", remedy);
  }
  if (MaybeFailure failure = CheckNotThere(output, flags.force || IsIndex(output))) {
    return failure;
  }
  char* const resolved = IsLink(output) ? realpath(output.c_str(), nullptr) : nullptr;
  if (resolved != nullptr) {
    output = resolved;
    free(resolved);
  }
  return std::nullopt;
}

// The index in the usual places. Whoever asks for an index wants one that is right, so that all of
// one that is there is looked at.
MaybeFailure LoadUsual(const IndexFlags& flags, const Console& console, IndexedTrace& trace) {
  if (MaybeFailure failure = OpenIndexedQuietly(flags.trace, console, trace)) {
    return failure;
  }
  const Fault fault = AskIndexed(console, trace, [&] { return trace.index->CheckSections(); });
  return fault ? MaybeFailure(IndexingFailureOf(fault, flags.trace)) : std::nullopt;
}

MaybeFailure LoadOutput(const IndexFlags& flags, const Console& console, IndexedTrace& trace) {
  std::string output = flags.output;
  if (MaybeFailure failure = CheckOutput(flags, output)) {
    return failure;
  }
  Result<std::unique_ptr<TraceSource>> file = TraceSource::Open(flags.trace);
  if (!file) {
    return FailureOf(file.Why());
  }
  trace.file = std::move(file).Take();
  const Interruption interruption;
  ProgressLine progress(console.terminal, "indexing " + flags.trace, "MB", 1e6);
  const auto update = [&](const Progress& now) {
    progress.Update(now.done, now.all);
    return !interruption.Asked();
  };
  Fault fault = Index::Build(*trace.file, output, update);
  if (!fault) {
    Result<std::unique_ptr<Index>> index = Index::Load(*trace.file, output);
    if (index) {
      trace.index = std::move(index).Take();
      return std::nullopt;
    }
    fault = index.Why();
  }
  Failure failure = IndexingFailureOf(fault, flags.trace);
  if (failure.code == EXIT_SYSTEM) {
    failure.remedy = "Make room there, or choose another place with -o.";
  }
  return failure;
}

MaybeFailure BuildIndex(const IndexFlags& flags, const Console& console) {
  IndexedTrace trace;
  if (MaybeFailure failure = flags.output.empty() ? LoadUsual(flags, console, trace)
                                                  : LoadOutput(flags, console, trace)) {
    return failure;
  }
  if (MaybeFailure unkept = WhyUnkept(trace)) {
    unkept->remedy = "Name a file with -o, or set XDG_CACHE_HOME to a folder that can be written.";
    return unkept;
  }
  const Index& index = *trace.index;
  const double share = trace.file->Size() == 0 ? 0
                                               : 100.0 * static_cast<double>(index.FileSize()) /
                                                     static_cast<double>(trace.file->Size());
  if (flags.json) {
    console.out << JsonText({{"trace", flags.trace},
                             {"index", index.FileName()},
                             {"indexBytes", index.FileSize()},
                             {"share", share / 100},
                             {"records", index.GetSummary().records},
                             {"keyframes", index.Boundaries().size()},
                             {"wholeArray", index.HasBoundaries()}});
  } else {
    console.out << LineFor(console.out, index.FileName()) << ": " << index.FileSize() << " bytes, "
                << std::fixed << std::setprecision(2) << share << " % of the trace, "
                << index.Boundaries().size() << " keyframes\n";
  }
  const Fault& end = index.GetSummary().end;
  return end ? MaybeFailure(FailureOf(end)) : std::nullopt;
}

Action ConfigureIndex(CLI::App& app) {
  const auto flags = std::make_shared<IndexFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  app.add_option("-o,--output", flags->output, "Build the index anew, in this file");
  app.add_flag("--force", flags->force, "Replace an output that exists and is no index");
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return BuildIndex(*flags, console); };
}

}  // namespace

extern const Subcommand indexSubcommand = {"index", "Build the index that makes questions quick",
                                           indexFooter, ConfigureIndex};

}  // namespace marrowfin
