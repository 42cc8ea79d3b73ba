#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/program/DiffAnswer.h"
#include "tools/program/DiffInput.h"
#include "tools/program/Interruption.h"
#include "tools/program/Json.h"
#include "tools/program/PlotOutput.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TextOutput.h"

namespace marrowfin {
namespace {

constexpr char diffFooter[] =
    "Examples:\n"
    "  marrowfin-trace diff new.trace old.trace\n"
    "  marrowfin-trace diff new.trace old.trace --align fire --csv slips -o slips.csv\n"
    "  marrowfin-trace diff new.trace old.trace.zst --cycles 5000: --json\n"
    "  marrowfin-trace diff --quiet new.trace expected.trace && echo unchanged\n"
    "\n"
    "A is the run that is looked at, B what it is held against: a change is A - B. By cycle, "
    "events\n"
    "of a cycle must be the same in any order; by step, those of each animation step, whatever "
    "their\n"
    "cycles; by fire, the threads of the fires of each PE, in order; by phase, how often each unit "
    "did\n"
    "what in each phase. docs/diff.md tells what each cannot see.\n"
    "\n"
    "Exit status: 0 equal, 1 different, 2 command line refused, 3 the output cannot be written or\n"
    "nowhere is room for what is worked on, 4 a trace cannot be read to its end.";

const std::map<std::string, Alignment>& Alignments() {
  static const std::map<std::string, Alignment> alignments = {{"cycle", Alignment::CYCLE},
                                                              {"step", Alignment::STEP},
                                                              {"fire", Alignment::FIRE},
                                                              {"phase", Alignment::PHASE}};
  return alignments;
}

const std::map<std::string, DiffTable>& DiffTables() {
  static const std::map<std::string, DiffTable> tables = {
      {"measures", DiffTable::MEASURES}, {"pes", DiffTable::ELEMENTS},
      {"domains", DiffTable::DOMAINS},   {"clusters", DiffTable::CLUSTERS},
      {"links", DiffTable::LINKS},       {"traffic", DiffTable::TRAFFIC},
      {"groups", DiffTable::GROUPS},     {"phases", DiffTable::PHASES},
      {"slips", DiffTable::SLIPS}};
  return tables;
}

struct CompareFlags {
  DiffFlags diff;
  std::string align = "cycle";
  bool ordered = false;
  bool quiet = false;
  bool json = false;
  std::optional<std::string> csv;
  std::optional<std::string> output;
  bool force = false;

  bool AsksForTable() const { return csv && *csv != "slips"; }
};

MaybeFailure CheckDiffFlags(const CompareFlags& flags) {
  if (flags.json && flags.csv) {
    return Failure{EXIT_USAGE, "--json and --csv are two forms of one answer", "Give one of them."};
  }
  if (flags.quiet && (flags.json || flags.csv || flags.output)) {
    return Failure{EXIT_USAGE, "--quiet leaves nothing to be written", "Leave it out."};
  }
  if (flags.csv && *flags.csv == "slips" && flags.align != "fire") {
    return Failure{EXIT_USAGE, "slips are those of fires", "Give --align fire."};
  }
  if (flags.ordered && flags.align != "cycle" && flags.align != "step") {
    return Failure{EXIT_USAGE, "the order of events counts within cycles and steps alone",
                   "Leave out --ordered, or align by cycle or step."};
  }
  if (MaybeFailure failure =
          CheckTextOutput(flags.output, flags.force, {flags.diff.run.trace, flags.diff.other})) {
    return failure;
  }
  return flags.diff.run.Check();
}

bool IsEmpty(const CountedRun& run) { return run.trace.file->Size() == 0; }

// By phase, only the measured runs can be held against each other.
MaybeFailure AlignByPhase(const CompareFlags& flags, const DiffedRuns& runs, const Console& console,
                          DiffAnswer& answer) {
  const Interruption interruption;
  ProgressLine line(console.terminal, "comparing phases", "M", 1e6);
  const auto align = [&](const Index* ofA, const Index* ofB) {
    return AlignPhases({*runs.a.trace.file, ofA, runs.a.question},
                       {*runs.b.trace.file, ofB, runs.b.question}, answer.phases, flags.quiet,
                       [&](const Progress& now) {
                         line.Update(now.done, now.all);
                         return !interruption.Asked();
                       });
  };
  Result<RunAlignment> aligned = align(runs.a.trace.index.get(), runs.b.trace.index.get());
  if (aligned.Why().kind == Fault::DAMAGED_INDEX) {
    aligned = align(nullptr, nullptr);
  }
  if (!aligned) {
    return IndexingFailureOf(aligned.Why(), flags.diff.run.trace);
  }
  answer.aligned = std::move(aligned).Take();
  answer.aligned.recordsA = runs.a.trace.index->GetSummary().records;
  answer.aligned.recordsB = runs.b.trace.index->GetSummary().records;
  return std::nullopt;
}

void TakeMeasures(const CountedRun& run, DiffedRun& side) {
  side.run = &run;
  side.measures =
      MeasuresOf(*run.counts, NetworkOf(run.companion->GetAbout()), run.question.filter.region);
}

// By all that the notes name; of a run without any by thread.
MaybeFailure GroupOne(const RunFlags& flags, const Console& console, CountedRun& run,
                      std::vector<GroupedTraffic>& groups) {
  std::vector<std::string> by;
  if (run.companion->Notes() == nullptr) {
    by = {GroupQuestion::THREAD};
  }
  if (MaybeFailure failure = GroupCounted(flags, by, console, run, groups)) {
    return failure;
  }
  NameThreads(run.companion->GetAbout(), groups);
  return std::nullopt;
}

MaybeFailure GroupRuns(const CompareFlags& flags, const Console& console, DiffedRuns& runs,
                       DiffAnswer& answer) {
  std::vector<GroupedTraffic> ofA;
  std::vector<GroupedTraffic> ofB;
  if (MaybeFailure failure = GroupOne(flags.diff.run, console, runs.a, ofA)) {
    return failure;
  }
  if (MaybeFailure failure = GroupOne(flags.diff.OfOther(), console, runs.b, ofB)) {
    return failure;
  }
  answer.groups = GroupChangesOf(ofA, ofB);
  return std::nullopt;
}

// Nothing is measured of runs of which one is empty: no rate is of no cycles.
MaybeFailure MeasureRuns(const CompareFlags& flags, const Console& console, DiffedRuns& runs,
                         DiffAnswer& answer) {
  for (const CountedRun* run : {&runs.a, &runs.b}) {
    if (IsEmpty(*run)) {
      return flags.AsksForTable()
                 ? MaybeFailure(Failure{EXIT_INPUT,
                                        run->trace.file->Name() + ": there are no records",
                                        "Leave --csv out: nothing can be measured."})
                 : std::nullopt;
    }
  }
  if (MaybeFailure failure = CountDiffed(flags.diff, true, console, runs)) {
    return failure;
  }
  if (MaybeFailure failure = PairDiffed(flags.diff, console, runs)) {
    return failure;
  }
  // Of a trace that breaks off, an index knows the start.
  for (const CountedRun* run : {&runs.a, &runs.b}) {
    if (const Fault& end = run->trace.index->GetSummary().end) {
      return FailureOf(end);
    }
  }
  if (!flags.quiet && (!flags.csv || flags.csv == "groups")) {
    if (MaybeFailure failure = GroupRuns(flags, console, runs, answer)) {
      return failure;
    }
  }
  TakeMeasures(runs.a, answer.a);
  TakeMeasures(runs.b, answer.b);
  answer.phases = PairPhases(*answer.a.measures, runs.a.counts->Times().Columns(),
                             *answer.b.measures, runs.b.counts->Times().Columns());
  return std::nullopt;
}

// The cycles of a trace that has records.
MaybeFailure TakeCycles(const CountedRun& run, DiffedRun& side) {
  if (IsEmpty(run)) {
    return std::nullopt;
  }
  const Result<CycleRange> cycles = CyclesOf(*run.trace.file);
  if (!cycles) {
    return FailureOf(cycles.Why());
  }
  side.cycles = *cycles;
  return std::nullopt;
}

MaybeFailure Tell(const CompareFlags& flags, const DiffedRuns& runs, const Console& console,
                  DiffAnswer& answer) {
  if (flags.quiet) {
    return std::nullopt;
  }
  for (const bool ofA : {true, false}) {
    if (MaybeFailure failure = TakeCycles(ofA ? runs.a : runs.b, ofA ? answer.a : answer.b)) {
      return AsTrouble(failure);
    }
  }
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  output.Text() = flags.json  ? JsonText(DiffJson(answer))
                  : flags.csv ? DiffCsv(answer, DiffTables().at(*flags.csv))
                              : DiffText(answer);
  return output.Commit();
}

MaybeFailure Compare(const CompareFlags& flags, const Console& console, DiffedRuns& runs,
                     DiffAnswer& answer) {
  // Without records there are no phases.
  if ((IsEmpty(runs.a) || IsEmpty(runs.b)) && answer.alignment == Alignment::PHASE) {
    answer.alignment = Alignment::CYCLE;
  }
  AlignQuestion question;
  const bool byPhase = answer.alignment == Alignment::PHASE;
  question.alignment = byPhase ? Alignment::CYCLE : answer.alignment;
  question.ordered = flags.ordered;
  // What has the same bytes has the same phases.
  question.firstOnly = flags.quiet || byPhase;
  if (MaybeFailure failure = AlignDiffed(flags.diff, question, console, runs, answer.aligned)) {
    return failure;
  }
  const bool sameEvents = answer.alignment == Alignment::CYCLE && answer.aligned.AreEqual();
  const bool enough = answer.aligned.sameBytes || sameEvents || (flags.quiet && !byPhase);
  if (enough && !flags.AsksForTable()) {
    return std::nullopt;
  }
  const bool same = answer.aligned.sameBytes;
  if (MaybeFailure failure = MeasureRuns(flags, console, runs, answer)) {
    return failure;
  }
  return byPhase && !same && answer.IsMeasured() ? AlignByPhase(flags, runs, console, answer)
                                                 : std::nullopt;
}

MaybeFailure Diff(const CompareFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckDiffFlags(flags)) {
    return failure;
  }
  DiffedRuns runs;
  if (MaybeFailure failure = OpenDiffed(flags.diff, console, runs)) {
    return AsTrouble(failure);
  }
  const bool asText = !flags.json && !flags.csv && !flags.output;
  DiffAnswer answer;
  answer.a.trace = asText ? LineFor(console.out, flags.diff.run.trace) : flags.diff.run.trace;
  answer.b.trace = asText ? LineFor(console.out, flags.diff.other) : flags.diff.other;
  answer.alignment = Alignments().at(flags.align);
  answer.ordered = flags.ordered;
  if (MaybeFailure failure = Compare(flags, console, runs, answer)) {
    return AsTrouble(failure);
  }
  if (MaybeFailure failure = Tell(flags, runs, console, answer)) {
    return failure;
  }
  return answer.aligned.AreEqual() ? std::nullopt : MaybeFailure(AnswerNo());
}

Action ConfigureDiff(CLI::App& app) {
  const auto flags = std::make_shared<CompareFlags>();
  app.add_option("A", flags->diff.run.trace,
                 "The trace that is looked at; may be packed (- is standard input)")
      ->required();
  app.add_option("B", flags->diff.other,
                 "The trace that it is held against; may be packed (- is standard input)")
      ->required();
  app.add_option("--align", flags->align, "What is held against what: cycle, step, fire or phase")
      ->check(CLI::IsMember(NamesOf(Alignments())))
      ->capture_default_str();
  app.add_flag("--ordered", flags->ordered, "The order of events within a cycle or step counts");
  flags->diff.Declare(app);
  flags->diff.run.DeclarePackets(app);
  app.add_flag("-q,--quiet", flags->quiet,
               "Tell by the exit status alone, and stop where it is clear");
  app.add_flag("--json", flags->json, "Print JSON");
  app.add_option("--csv", flags->csv, "Print this table as CSV")
      ->check(CLI::IsMember(NamesOf(DiffTables())));
  AddTextOutput(app, flags->output, flags->force);
  return [flags](const Console& console) { return Diff(*flags, console); };
}

}  // namespace

extern const Subcommand diffSubcommand = {
    "diff", "Hold one run against another: where they part, and what changed", diffFooter,
    ConfigureDiff};

}  // namespace marrowfin
