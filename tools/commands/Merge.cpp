#include <sys/resource.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/CompanionInput.h"
#include "tools/program/EditOutput.h"
#include "tools/program/FeedInput.h"
#include "tools/program/Interruption.h"
#include "tools/program/Output.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Report.h"
#include "tools/program/Subcommands.h"
#include "trace/edit/MergeTraces.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {
namespace {

constexpr char mergeFooter[] =
    "Examples:\n"
    "  marrowfin-trace merge old.trace new.trace -o both.trace\n"
    "  marrowfin-trace merge old.trace.zst new.trace run.trace -o all.trace --no-companion\n"
    "\n"
    "Puts traces into one, by cycle; of one cycle the records of the trace that is named first "
    "come\n"
    "first. The records of each trace stay in order: one that is not sorted is merged as it is\n"
    "(marrowfin-trace sort puts it in order). Companions go along: attributes and counters of one\n"
    "name are one, and what is told of the run is told by the first that tells it.\n"
    "\n"
    "Exit status: 0 done, 1 a trace cannot be read or breaks off, 2 command line refused,\n"
    "3 the output cannot be written or nowhere is room for an index.";

struct MergeFlags {
  std::vector<std::string> traces;
  EditFlags edit;
};

// What is merged, and what comes of it.
struct Merging {
  const MergeFlags& flags;
  const Console& console;
  std::vector<std::unique_ptr<FedTrace>> traces;
  Summarizer summarizer;
  std::optional<EditOutput> output;
  MergeAccount account;
  MaybeFailure unwritten;
};

bool HasCompanion(const Merging& merging) {
  return std::any_of(merging.traces.begin(), merging.traces.end(),
                     [](const auto& trace) { return trace->HasCompanion(); });
}

Fault MergeOnce(Merging& merging) {
  merging.summarizer = Summarizer();
  for (const auto& trace : merging.traces) {
    if (Fault fault = trace->Begin(merging.summarizer)) {
      return fault;
    }
  }
  merging.unwritten = merging.output.emplace().Open(merging.flags.edit.output,
                                                    HasCompanion(merging), merging.flags.edit.pack);
  if (merging.unwritten) {
    return {};
  }
  std::vector<MergedTrace> feeds;
  for (const auto& trace : merging.traces) {
    feeds.push_back({&trace->Feed(), trace->Notes()});
  }
  const Interruption interruption;
  ProgressLine line(merging.console.terminal, "merging", "MB", 1e6);
  const Result<MergeAccount> merged =
      MergeTraces(feeds, merging.output->Made(), [&](const Progress& now) {
        line.Update(now.done, now.all);
        return !interruption.Asked();
      });
  if (const Fault& unwritten = merging.output->Made().GetFault()) {
    merging.unwritten = OutputFailureOf(unwritten);
    return {};
  }
  merging.account = merged ? *merged : MergeAccount();
  return merged.Why();
}

// Merges; once more for each index that turns out damaged.
Fault MergeAll(Merging& merging) {
  Fault fault = MergeOnce(merging);
  for (size_t i = 0; i < merging.traces.size() && fault.kind == Fault::DAMAGED_INDEX; ++i) {
    for (const auto& trace : merging.traces) {
      if (trace->HasDamagedIndex()) {
        if (Fault unbuilt = trace->Rebuild(merging.console)) {
          return unbuilt;
        }
      }
    }
    fault = MergeOnce(merging);
  }
  return fault;
}

// A viewer shows it as what the runs told, where that is one array that holds all of them.
EditAccount AccountOf(Merging& merging, const About& about) {
  EditAccount account = merging.output->Account(merging.flags.traces);
  if (account.records > 0) {
    account.firstCycle = merging.account.firstCycle;
    account.lastCycle = merging.account.lastCycle;
  }
  account.shape = about.array ? SquareOf(about.array->shape) : std::nullopt;
  if (!account.shape) {
    account.shape = SuggestShape(merging.summarizer.Get());
  }
  return account;
}

// What was lost, behind all that was done.
MaybeFailure TellLosses(const Merging& merging) {
  const MergeAccount& account = merging.account;
  ReportRefused(account.leftOut, merging.console);
  if (account.lostValues > 0) {
    Report(Failure{EXIT_OK,
                   merging.flags.edit.output + ": " + std::to_string(account.lostValues) +
                       " values of notes are left out, since the notes together have more than 32 "
                       "attributes or a value without a name has one elsewhere",
                   ""},
           merging.console);
  }
  const auto end = std::find_if(account.ends.begin(), account.ends.end(),
                                [](const Fault& fault) { return static_cast<bool>(fault); });
  return end == account.ends.end() ? std::nullopt : MaybeFailure(CutShort(*end));
}

MaybeFailure CheckMergeFlags(const MergeFlags& flags) {
  if (MaybeFailure failure = CheckReadOnce(flags.traces)) {
    return failure;
  }
  return CheckEditOutput(flags.edit, flags.edit.output, flags.traces);
}

// All inputs stay open, with their companions: together soon more files than a process may have
// open unless it asks.
void AllowManyFiles() {
  rlimit files = {};
  if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
  }
}

MaybeFailure Merge(const MergeFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckMergeFlags(flags)) {
    return failure;
  }
  AllowManyFiles();
  Merging merging = {flags, console, {}, {}, {}, {}, {}};
  for (const std::string& name : flags.traces) {
    merging.traces.push_back(std::make_unique<FedTrace>());
    if (MaybeFailure failure =
            merging.traces.back()->Open(name, !flags.edit.noCompanion, console)) {
      return failure;
    }
  }
  const Fault fault = MergeAll(merging);
  if (merging.unwritten) {
    return merging.unwritten;
  }
  if (fault) {
    const auto& traces = flags.traces;
    const bool isInput = std::find(traces.begin(), traces.end(), fault.file) != traces.end();
    return IndexingFailureOf(fault, isInput ? fault.file : "");
  }
  std::vector<const About*> abouts;
  for (const auto& trace : merging.traces) {
    trace->ReportNotes(console);
    abouts.push_back(trace->GetAbout());
  }
  merging.summarizer.Finish();
  const About about = MergedAbout(abouts, merging.summarizer.Get());
  const EditAccount account = AccountOf(merging, about);
  if (MaybeFailure failure = merging.output->Commit(&about)) {
    return failure;
  }
  TellEdited({account}, flags.edit.json, console);
  return TellLosses(merging);
}

Action ConfigureMerge(CLI::App& app) {
  const auto flags = std::make_shared<MergeFlags>();
  app.add_option("TRACE", flags->traces, "The traces: files, packed or not; - is standard input")
      ->required();
  flags->edit.Declare(app);
  return [flags](const Console& console) { return Merge(*flags, console); };
}

}  // namespace

extern const Subcommand mergeSubcommand = {"merge", "Put several traces into one, by cycle",
                                           mergeFooter, ConfigureMerge};

}  // namespace marrowfin
