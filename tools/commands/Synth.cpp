#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "tools/program/EditOutput.h"
#include "tools/program/ExistingOutput.h"
#include "tools/program/Flags.h"
#include "tools/program/PackedName.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TraceInput.h"
#include "tools/program/TraceOutput.h"
#include "trace/write/Synth.h"

namespace marrowfin {
namespace {

constexpr char synthFooter[] =
    "Examples:\n"
    "  marrowfin-trace synth -o big.trace --records 2000000 -c 4 -d 2 -p 8\n"
    "  marrowfin-trace synth -o wild.trace --random --seed 7\n"
    "  marrowfin-trace synth -o big.mfz --records 24000000\n"
    "\n"
    "Makes a trace up, of any length: threads that run loops of operations near each other, with\n"
    "phases of plenty and quiet ones; or, with --random, records drawn one by one. The same\n"
    "options give the same bytes. A trace whose name ends in .mfz is packed.\n"
    "\n"
    "Exit status: 0 done, 2 command line refused, 3 output not written.";

struct SynthFlags {
  std::string output;
  ShapeFlags shape;
  uint64_t records = 1000000;
  uint32_t threads = 4;
  uint64_t seed = 1;
  bool random = false;
  bool force = false;
  bool pack = false;
  bool json = false;
};

MaybeFailure Write(const SynthOptions& options, const SynthFlags& flags, const Console& console,
                   EditAccount& account) {
  const std::string& file = flags.output;
  TraceOutput output;
  if (MaybeFailure failure = output.Open(file, flags.pack)) {
    return failure;
  }
  Writer writer;
  writer.Attach(output.Sink());
  ProgressLine line(console.terminal, "writing " + file, "M records", 1e6);
  const Fault fault = Synthesize(options, writer, [&](const Progress& now) {
    line.Update(now.done, now.all);
    return true;
  });
  if (writer.Close() || fault) {
    return OutputFailureOf(writer.GetFault());
  }
  account.output = file;
  account.records = writer.WholeRecords();
  account.bytes = writer.WholeBytes();
  account.packed = flags.pack || IsPackedName(file);
  account.shape = options.shape;
  return output.Commit();
}

MaybeFailure Synth(const SynthFlags& flags, const Console& console) {
  SynthOptions options;
  options.mode = flags.random ? SynthOptions::RANDOM : SynthOptions::PROGRAMS;
  if (MaybeFailure failure = flags.shape.Check()) {
    return failure;
  }
  if (MaybeFailure failure = CheckNotThere(flags.output, flags.force)) {
    return failure;
  }
  options.shape = flags.shape.Shape();
  options.records = flags.records;
  options.threads = flags.threads;
  options.seed = flags.seed;
  EditAccount account;
  if (MaybeFailure failure = Write(options, flags, console, account)) {
    return failure;
  }
  TellEdited({account}, flags.json, console);
  return std::nullopt;
}

Action ConfigureSynth(CLI::App& app) {
  const auto flags = std::make_shared<SynthFlags>();
  app.add_option("-o,--output", flags->output, "The trace to write; - is standard output")
      ->required();
  AddCount(app, "--records", flags->records, "How many records")->capture_default_str();
  AddCount(app, "--threads", flags->threads, "How many threads")
      ->capture_default_str()
      ->check(CLI::Range(1U, 4096U));
  AddCount(app, "--seed", flags->seed, "Where the random numbers start")->capture_default_str();
  app.add_flag("--random", flags->random, "Draw every record by itself");
  AddForce(app, flags->force);
  AddPack(app, flags->pack);
  app.add_flag("--json", flags->json, "Print the account as JSON");
  flags->shape.Declare(app);
  return [flags](const Console& console) { return Synth(*flags, console); };
}

}  // namespace

extern const Subcommand synthSubcommand = {"synth", "Make a trace up, of any length", synthFooter,
                                           ConfigureSynth};

}  // namespace marrowfin
