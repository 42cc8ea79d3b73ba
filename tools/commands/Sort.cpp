#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "tools/program/CompanionInput.h"
#include "tools/program/EditOutput.h"
#include "tools/program/FeedInput.h"
#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "trace/edit/SortTrace.h"

namespace marrowfin {
namespace {

constexpr char sortFooter[] =
    "Examples:\n"
    "  marrowfin-trace sort run.trace -o sorted.trace\n"
    "  marrowfin-trace sort run.trace.zst -o small.trace --memory 64M --no-companion\n"
    "\n"
    "Puts records in order of their cycles, those of one cycle as they came, with the companion. "
    "A\n"
    "trace that is larger than the memory is sorted in pieces, which files in $TMPDIR (or /tmp)\n"
    "take up: they need room for as much as the trace has.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off, 2 command line refused,\n"
    "3 the output cannot be written or there is no room.";

constexpr uint64_t MOST_UNPACKED = 128;  // bytes in memory for one of the file

struct SortFlags {
  std::string trace;
  EditFlags edit;
  uint64_t memory = SortOptions().memory;
};

// What is sorted, and what comes of it.
struct Sorting {
  const SortFlags& flags;
  const Console& console;
  FedTrace trace;
  Summarizer summarizer;
  std::optional<EditOutput> output;
  SortAccount account;
  MaybeFailure unwritten;
};

Fault SortOnce(Sorting& sorting) {
  const SortFlags& flags = sorting.flags;
  sorting.summarizer = Summarizer();
  if (Fault fault = sorting.trace.Begin(sorting.summarizer)) {
    return fault;
  }
  sorting.unwritten = sorting.output.emplace().Open(flags.edit.output, sorting.trace.HasCompanion(),
                                                    flags.edit.pack);
  if (sorting.unwritten) {
    return {};
  }
  SortOptions options;
  // Records in memory take some two times the room of those in the file, packed ones up to a
  // hundred times: what is allowed beyond that would be asked for in vain.
  const uint64_t all = sorting.trace.Feed().All();
  const uint64_t enough = all == 0 ? flags.memory : all * MOST_UNPACKED + SortOptions::LEAST_MEMORY;
  options.memory = static_cast<size_t>(std::min(flags.memory, enough));
  options.threads = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 16);
  const Interruption interruption;
  ProgressLine line(sorting.console.terminal, "sorting " + flags.trace, "MB", 1e6);
  const Result<SortAccount> sorted = SortTrace(sorting.trace.Feed(), sorting.trace.Notes(), options,
                                               sorting.output->Made(), [&](const Progress& now) {
                                                 line.Update(now.done, now.all);
                                                 return !interruption.Asked();
                                               });
  if (const Fault& unwritten = sorting.output->Made().GetFault()) {
    sorting.unwritten = OutputFailureOf(unwritten);
    return {};
  }
  sorting.account = sorted ? *sorted : SortAccount();
  return sorted.Why();
}

EditAccount AccountOf(Sorting& sorting) {
  EditAccount account = sorting.output->Account({sorting.flags.trace});
  if (account.records > 0) {
    account.firstCycle = sorting.account.firstCycle;
    account.lastCycle = sorting.account.lastCycle;
  }
  sorting.summarizer.Finish();
  account.shape = sorting.trace.View(sorting.summarizer.Get());
  return account;
}

MaybeFailure Sort(const SortFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckEditOutput(flags.edit, flags.edit.output, {flags.trace})) {
    return failure;
  }
  Sorting sorting = {flags, console, {}, {}, {}, {}, {}};
  if (MaybeFailure failure = sorting.trace.Open(flags.trace, !flags.edit.noCompanion, console)) {
    return failure;
  }
  Fault fault = SortOnce(sorting);
  if (fault.kind == Fault::DAMAGED_INDEX) {
    fault = sorting.trace.Rebuild(console);
    fault = fault ? fault : SortOnce(sorting);
  }
  if (sorting.unwritten) {
    return sorting.unwritten;
  }
  if (fault) {
    return IndexingFailureOf(fault, flags.trace);
  }
  sorting.trace.ReportNotes(console);
  ReportRefused(sorting.account.leftOut, console);
  const EditAccount account = AccountOf(sorting);
  if (MaybeFailure failure = sorting.output->Commit(sorting.trace.GetAbout())) {
    return failure;
  }
  TellEdited({account}, flags.edit.json, console);
  return sorting.account.end ? MaybeFailure(CutShort(sorting.account.end)) : std::nullopt;
}

Action ConfigureSort(CLI::App& app) {
  const auto flags = std::make_shared<SortFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  flags->edit.Declare(app);
  AddSize(app, "--memory", flags->memory,
          "How much memory sorting may take; at least 16M, 256M unless given")
      ->check(CLI::Range(uint64_t{SortOptions::LEAST_MEMORY}, uint64_t{1} << 40));
  return [flags](const Console& console) { return Sort(*flags, console); };
}

}  // namespace

extern const Subcommand sortSubcommand = {"sort", "Put the records of a trace in order of cycles",
                                          sortFooter, ConfigureSort};

}  // namespace marrowfin
