#include <CLI/CLI.hpp>
#include <iomanip>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/program/ExistingOutput.h"
#include "tools/program/Flags.h"
#include "tools/program/Json.h"
#include "tools/program/Output.h"
#include "tools/program/OutputApart.h"
#include "tools/program/PackedName.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/SetFact.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TraceInput.h"
#include "trace/index/PackedSink.h"
#include "trace/read/AboutFile.h"
#include "trace/read/CompanionFiles.h"
#include "trace/write/AboutText.h"
#include "trace/write/Recorder.h"

namespace marrowfin {
namespace {

constexpr char packFooter[] =
    "Examples:\n"
    "  marrowfin-trace pack run.trace\n"
    "  marrowfin-trace pack run.trace -o named.mfz --set name=baseline --set thread.0=requests\n"
    "  zcat run.trace.gz | marrowfin-trace pack - -o run.mfz\n"
    "\n"
    "Packs a trace with its index and its companion into one file, some thirty times smaller, "
    "which\n"
    "all other subcommands and the explorer read as it is. unpack gives the same bytes back,\n"
    "whatever they are.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read, 2 command line refused, 3 output not "
    "written.";

struct PackFlags {
  std::string trace;
  std::string output;
  int level = 1;
  std::vector<std::string> facts;
  bool noIndex = false;
  bool noCompanion = false;
  bool force = false;
  bool json = false;
};

// What packing came to.
struct Packed {
  uint64_t records = 0;
  uint64_t rawBytes = 0;
  uint64_t bytes = 0;
  bool about = false;
  bool notes = false;
};

std::string OutputOf(const PackFlags& flags) {
  return !flags.output.empty()            ? flags.output
         : flags.trace == STANDARD_STREAM ? STANDARD_STREAM
                                          : PackedName(flags.trace);
}

Fault Copy(ByteSource& source, PackedSink& sink, ProgressLine& progress) {
  constexpr size_t BLOCK = 256 << 10;
  std::vector<uint8_t> block(BLOCK);
  for (;;) {
    const Result<size_t> got = source.Read(block.data(), block.size());
    if (!got) {
      return got.Why();
    }
    if (*got == 0) {
      return {};
    }
    if (sink.Write(block.data(), *got).fault) {
      return {};  // End tells it
    }
    progress.Update(source.InputRead(), source.InputSize().value_or(0));
  }
}

// Puts what is told of the run, with the facts that are set, in place of what was told. Refusals
// are known before anything is packed, by what the trace is recognised only behind that.
MaybeFailure SetFacts(const PackFlags& flags, const PackedSink& sink,
                      std::unique_ptr<PositionedFile>& file, bool onlyTry) {
  if (flags.facts.empty()) {
    return std::nullopt;
  }
  About about;
  if (file != nullptr) {
    Result<About> told = ReadAbout(*file);
    if (!told) {
      return FailureOf(told.Why());
    }
    about = std::move(told).Take();
  }
  for (const std::string& fact : flags.facts) {
    if (MaybeFailure failure = SetFact(fact, about)) {
      return failure;
    }
  }
  if (!onlyTry) {
    sink.Recognise(about);
    const std::string text = AboutText(about);
    file = MemoryFile(std::vector<uint8_t>(text.begin(), text.end()), AboutBeside(flags.trace));
  }
  return std::nullopt;
}

MaybeFailure PackTo(const PackFlags& flags, Output& output, const Console& console,
                    Packed& packed) {
  Result<std::unique_ptr<ByteSource>> source = OpenInput(flags.trace);
  if (!source) {
    return FailureOf(source.Why());
  }
  PackedSinkOptions options;
  options.level = flags.level;
  options.index = !flags.noIndex;
  PackedSink sink(output.Sink(), flags.trace, options);
  std::unique_ptr<PositionedFile> about;
  if (!flags.noCompanion && flags.trace != STANDARD_STREAM) {
    Result<CompanionFiles> companion = CompanionFilesOf(flags.trace);
    if (!companion) {
      return FailureOf(companion.Why());
    }
    about = std::move(companion->about);
    packed.notes = companion->notes != nullptr;
    sink.EncloseNotes(std::move(companion->notes));
  }
  if (MaybeFailure failure = SetFacts(flags, sink, about, true)) {
    return failure;
  }
  ProgressLine progress(console.terminal, "packing " + flags.trace, "MB", 1e6);
  if (Fault fault = Copy(**source, sink, progress)) {
    return FailureOf(fault);
  }
  if (MaybeFailure failure = SetFacts(flags, sink, about, false)) {
    return failure;
  }
  packed.about = about != nullptr;
  sink.EncloseAbout(std::move(about));
  if (Fault fault = sink.End()) {
    return OutputFailureOf(fault);
  }
  packed.records = sink.Records();
  packed.rawBytes = sink.RawBytes();
  packed.bytes = sink.PackedBytes();
  return std::nullopt;
}

void Tell(const PackFlags& flags, const std::string& name, const Packed& packed,
          const Console& console) {
  std::ostream& out = AccountStream(console, name);
  const double share = packed.rawBytes == 0 ? 0
                                            : static_cast<double>(packed.bytes) /
                                                  static_cast<double>(packed.rawBytes);
  if (flags.json) {
    out << JsonText({{"trace", flags.trace},
                     {"output", name},
                     {"records", packed.records},
                     {"rawBytes", packed.rawBytes},
                     {"bytes", packed.bytes},
                     {"share", share},
                     {"index", !flags.noIndex},
                     {"about", packed.about},
                     {"notes", packed.notes}});
    return;
  }
  out << LineFor(out, name) << ": " << packed.records << " records in " << packed.bytes
      << " bytes, " << std::fixed << std::setprecision(2) << 100 * share << " % of the trace\n";
}

MaybeFailure Pack(const PackFlags& flags, const Console& console) {
  const std::string name = OutputOf(flags);
  if (flags.trace != STANDARD_STREAM) {
    if (MaybeFailure failure = CheckOutputApart(flags.trace, name)) {
      return failure;
    }
  }
  if (MaybeFailure failure = CheckTraceNotThere(name, flags.force)) {
    return failure;
  }
  Output output;
  if (MaybeFailure failure = output.Open(name)) {
    return failure;
  }
  Packed packed;
  if (MaybeFailure failure = PackTo(flags, output, console, packed)) {
    return failure;
  }
  const bool replaces = output.PlainDescriptor().has_value();
  if (MaybeFailure failure = output.Commit()) {
    return failure;
  }
  if (replaces) {
    RemoveCompanion(name);  // of the trace that was there before
  }
  Tell(flags, name, packed, console);
  return std::nullopt;
}

Action ConfigurePack(CLI::App& app) {
  const auto flags = std::make_shared<PackFlags>();
  app.add_option("TRACE", flags->trace, "The trace; - is standard input")->required();
  app.add_option(
      "-o,--output", flags->output,
      "The packed trace to write, named after the trace by default; - is standard output");
  AddCount(app, "--level", flags->level, "Of zstd: 1 is quick, 19 is small")
      ->capture_default_str()
      ->check(CLI::Range(1, 19));
  app.add_option("--set", flags->facts, "A fact about the run, KEY=VALUE; may be given repeatedly")
      ->take_all();
  app.add_flag("--no-index", flags->noIndex, "Leave the index out");
  app.add_flag("--no-companion", flags->noCompanion, "Leave out what lies beside the trace");
  AddForce(app, flags->force);
  app.add_flag("--json", flags->json, "Print JSON");
  return [flags](const Console& console) { return Pack(*flags, console); };
}

}  // namespace

extern const Subcommand packSubcommand = {
    "pack", "Pack a trace, its index and its companion into one small file", packFooter,
    ConfigurePack};

}  // namespace marrowfin
