#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "measure/CountPackets.h"
#include "measure/CountRun.h"
#include "tools/program/FilterFlags.h"
#include "tools/program/Interruption.h"
#include "tools/program/Json.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Report.h"
#include "tools/program/RunAnswer.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TextOutput.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/FilterRange.h"
#include "trace/read/Companion.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace stats run.trace\n"
    "  marrowfin-trace stats run.trace --cycles 5000:9999 --region cluster:2,0\n"
    "  marrowfin-trace stats run.trace --json -o run.json\n"
    "  marrowfin-trace stats run.trace --csv links -o links.csv\n"
    "\n"
    "Rates are by cycle of the range that is asked for. Packets are told where the trace has a\n"
    "companion that names them, or with --packets thread. docs/measures.md defines each number.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

const std::map<std::string, StatsTable>& Tables() {
  static const std::map<std::string, StatsTable> tables = {
      {"pes", StatsTable::ELEMENTS},        {"clusters", StatsTable::CLUSTERS},
      {"links", StatsTable::LINKS},         {"time", StatsTable::TIME},
      {"distances", StatsTable::DISTANCES}, {"traffic", StatsTable::TRAFFIC},
      {"latency", StatsTable::LATENCY}};
  return tables;
}

struct StatsFlags {
  std::string trace;
  FilterFlags filter;
  ShapeFlags shape;
  std::string packets = "notes";
  bool json = false;
  std::optional<std::string> csv;
  std::optional<std::string> output;
};

MaybeFailure CheckFlags(const StatsFlags& flags) {
  if (flags.json && flags.csv) {
    return Failure{EXIT_USAGE, "--json and --csv are two forms of one answer", "Give one of them."};
  }
  if (flags.output && IsSameFile(flags.trace, *flags.output)) {
    return Failure{EXIT_USAGE, *flags.output + ": is the trace",
                   "Name another output with -o: the numbers would replace the trace."};
  }
  if (MaybeFailure failure = flags.filter.Check()) {
    return failure;
  }
  return flags.shape.Check();
}

// What is asked about which trace.
struct Question {
  const StatsFlags& flags;
  const Console& console;
  IndexedTrace& trace;
  const Companion& companion;
  RunQuestion run;
};

// Asks with a line of progress; `ask` takes a callback for it.
template <class Ask>
auto Watched(const Question& question, const char* unit, Ask ask) {
  const Interruption interruption;
  ProgressLine line(question.console.terminal, "going through " + question.flags.trace, unit, 1e6);
  return ask([&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
}

Result<RunCounts> Count(const Question& question) {
  return Watched(question, "M", [&](const ProgressCallback& progress) {
    return CountRun(*question.trace.file, question.trace.index.get(), question.run, progress);
  });
}

Result<PacketCounts> Follow(const Question& question, const TimeColumns& range,
                            NotesOfTrace* notes) {
  return Watched(question, "M records", [&](const ProgressCallback& progress) {
    return CountPackets(*question.trace.file, *question.trace.index, notes, question.run.filter,
                        PacketCounts::Windows(range.first, range.last), progress);
  });
}

// Adds what became of packets, where they are told.
Fault AddPackets(const Question& question, RunAnswer& answer) {
  const TimeColumns& range = answer.counts->Times().Columns();
  answer.packetsAreThreads = question.flags.packets == "thread";
  std::optional<NotesOfTrace> notes;
  if (question.companion.Notes() != nullptr && !answer.packetsAreThreads) {
    notes.emplace(*question.trace.file, *question.trace.index, *question.companion.Notes());
  }
  NotesOfTrace* const told = notes ? &*notes : nullptr;
  if (question.flags.packets == "none" || (!answer.packetsAreThreads && !TellPackets(told))) {
    return {};
  }
  Result<PacketCounts> packets = Follow(question, range, told);
  if (!packets) {
    return packets.Why();
  }
  answer.packets = std::move(packets).Take();
  if (notes && notes->Refused()) {
    Report(FailureOf(notes->Refused()), question.console);
  }
  return {};
}

MaybeFailure Write(const StatsFlags& flags, const RunAnswer& answer, const Console& console) {
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  output.Text() = flags.json  ? JsonText(StatsJson(answer))
                  : flags.csv ? StatsCsv(answer, Tables().at(*flags.csv))
                              : StatsText(answer);
  return output.Commit();
}

// Numbers of a part are told with the part; that more may belong to them is a failure.
MaybeFailure CheckWhole(const Question& question, const EventFilter& asked) {
  const Fault& end = question.trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  const Result<bool> reaches = ReachesBehindEnd(*question.trace.file, *question.trace.index, asked);
  if (!reaches) {
    return IndexingFailureOf(reaches.Why(), question.flags.trace);
  }
  return *reaches ? MaybeFailure(CutShort(end)) : std::nullopt;
}

MaybeFailure Answer(Question& question, const EventFilter& asked) {
  const Result<RunCounts> counts =
      AskIndexed(question.console, question.trace, [&] { return Count(question); });
  if (!counts) {
    return IndexingFailureOf(counts.Why(), question.flags.trace);
  }
  RunAnswer answer;
  answer.trace = question.flags.trace;
  answer.shape = question.run.shape;
  answer.counts = &*counts;
  answer.measures = MeasuresOf(*counts);
  if (Fault fault = AskIndexed(question.console, question.trace,
                               [&] { return AddPackets(question, answer); })) {
    return IndexingFailureOf(fault, question.flags.trace);
  }
  if (MaybeFailure failure = Write(question.flags, answer, question.console)) {
    return failure;
  }
  return CheckWhole(question, asked);
}

// The array: as the flags say, as the companion does, or what holds the trace.
MaybeFailure ChooseShape(const StatsFlags& flags, const Companion& companion,
                         const Summary& summary, RunQuestion& run) {
  const About* const about = companion.GetAbout();
  if (about != nullptr && about->array) {
    run.wrapColumns = about->array->wrapColumns;
    run.wrapRows = about->array->wrapRows;
  }
  run.columnFirst = about != nullptr && about->links && about->links->routing == "yx";
  if (about != nullptr && about->array && !flags.shape.Given()) {
    run.shape = about->array->shape;
    return std::nullopt;
  }
  return flags.shape.ShapeFor(flags.trace, summary, run.shape);
}

MaybeFailure Stats(const StatsFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckFlags(flags)) {
    return failure;
  }
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  const Companion companion = Companion::Beside(*trace.file);
  for (const Fault& fault : {companion.WhyNoAbout(), companion.WhyNoNotes()}) {
    if (fault) {
      Report(FailureOf(fault), console);
    }
  }
  Question question = {flags, console, trace, companion, {}};
  const Summary summary = trace.index->GetSummary();
  if (MaybeFailure failure = ChooseShape(flags, companion, summary, question.run)) {
    return failure;
  }
  EventFilter& filter = question.run.filter;
  if (MaybeFailure failure = flags.filter.FilterFor(flags.trace, question.run.shape, filter)) {
    return failure;
  }
  const EventFilter asked = filter;
  if (summary.end) {
    // What stands before the break is counted by the index, which ends there.
    filter.lastRecord = std::min(filter.lastRecord, summary.records);
  }
  return Answer(question, asked);
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<StatsFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  flags->filter.Declare(app);
  flags->shape.Declare(app);
  app.add_option("--packets", flags->packets,
                 "What tells packets: notes (the companion), thread (each is a packet), or none")
      ->check(CLI::IsMember({"notes", "thread", "none"}))
      ->capture_default_str();
  app.add_flag("--json", flags->json, "Print JSON");
  std::vector<std::string> tables;
  for (const auto& [name, table] : Tables()) {
    tables.push_back(name);
  }
  app.add_option("--csv", flags->csv, "Print this table as CSV")->check(CLI::IsMember(tables));
  app.add_option("-o,--output", flags->output, "Write to this file, not to standard output");
  return [flags](const Console& console) { return Stats(*flags, console); };
}

}  // namespace

extern const Subcommand statsSubcommand = {
    "stats", "Tell how busy, how even, how far, how long: the numbers of a run", footer, Configure};

}  // namespace marrowfin
