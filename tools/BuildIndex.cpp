#include <CLI/CLI.hpp>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

#include "tools/Progress.h"
#include "tools/Subcommands.h"
#include "tools/TraceInput.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace index run.trace\n"
    "  marrowfin-trace index run.trace --output run.mfindex\n"
    "\n"
    "The index lies beside the trace (TRACE.mfindex) or, where that folder cannot be written, in\n"
    "the cache folder ($XDG_CACHE_HOME/marrowfin or ~/.cache/marrowfin). One that is there and\n"
    "still right is kept; one of a trace that has grown since is extended.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, or no index of it can be kept, 2 command\n"
    "line refused.";

struct IndexFlags {
  std::string trace;
  std::string output;
  bool json = false;
};

MaybeFailure Load(const IndexFlags& flags, const Console& console, IndexedTrace& trace) {
  if (flags.output.empty()) {
    return OpenIndexed(flags.trace, console, trace);
  }
  Fault fault;
  trace.file = TraceFile::Open(flags.trace, fault);
  if (!trace.file) {
    return FailureOf(fault);
  }
  Progress progress(console.terminal, "indexing " + flags.trace, "MB", 1e6);
  const auto update = [&](uint64_t done, uint64_t all) {
    progress.Update(done, all);
    return true;
  };
  if (Index::Build(*trace.file, flags.output, update, fault)) {
    trace.index = Index::Load(*trace.file, flags.output, fault);
  }
  return trace.index ? std::nullopt : MaybeFailure(FailureOf(fault));
}

MaybeFailure BuildIndex(const IndexFlags& flags, const Console& console) {
  IndexedTrace trace;
  if (MaybeFailure failure = Load(flags, console, trace)) {
    return failure;
  }
  const Index& index = *trace.index;
  const double share = trace.file->Size() == 0 ? 0
                                               : 100.0 * static_cast<double>(index.FileSize()) /
                                                     static_cast<double>(trace.file->Size());
  if (flags.json) {
    console.out << nlohmann::json{{"trace", flags.trace},
                                  {"index", index.FileName()},
                                  {"bytes", index.FileSize()},
                                  {"share", share / 100},
                                  {"records", index.GetSummary().records},
                                  {"keyframes", index.Boundaries().size()},
                                  {"wholeArray", index.HasBoundaries()}}
                       .dump(2)
                << "\n";
  } else {
    console.out << index.FileName() << ": " << index.FileSize() << " bytes, " << std::fixed
                << std::setprecision(2) << share << " % of the trace, " << index.Boundaries().size()
                << " keyframes\n";
  }
  const Fault& end = index.GetSummary().end;
  return end ? MaybeFailure(FailureOf(end)) : std::nullopt;
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<IndexFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  app.add_option("-o,--output", flags->output, "Build the index anew, in this file");
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return BuildIndex(*flags, console); };
}

}  // namespace

const Subcommand indexSubcommand = {"index", "Build the index that makes questions quick", footer,
                                    Configure};

}  // namespace marrowfin
