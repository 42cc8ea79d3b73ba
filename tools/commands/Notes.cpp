#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/program/CompanionInput.h"
#include "tools/program/FilterFlags.h"
#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/Json.h"
#include "tools/program/NotesAnswer.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TextOutput.h"
#include "trace/ask/FilterRange.h"

namespace marrowfin {
namespace {

constexpr char notesFooter[] =
    "Examples:\n"
    "  marrowfin-trace notes noted.trace\n"
    "  marrowfin-trace notes noted.trace --by kind --bins 20 --cycles 100:299\n"
    "  marrowfin-trace notes noted.trace --counters\n"
    "  marrowfin-trace notes noted.trace --counter occupancy --at 1,2 --bins 50 --format csv\n"
    "  marrowfin-trace notes noted.trace --counter occupancy --places\n"
    "  marrowfin-trace notes noted.trace --places --kind wait --cycles 100:299\n"
    "\n"
    "Without a flag, the records of each kind. A counter has a value from a sample on until the\n"
    "next one; its mean is weighted by time, and a sum is over all of its places. --places counts\n"
    "the events that meet the conditions on events and notes, all of them where there is none.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "or there are no such notes, 2 command line refused, 3 the output cannot be written or "
    "nowhere\n"
    "is room for the index.";

constexpr size_t MOST_BINS = 100000;

struct NotesFlags {
  std::string trace;
  std::string by;
  std::string counter;
  bool counters = false;
  bool places = false;
  std::optional<RegionWords> at;
  size_t bins = 1;
  FilterFlags filter;
  NoteFlags notes;
  ShapeFlags shape;
  std::string format = "text";
  std::optional<std::string> output;
  bool force = false;

  bool CountsEvents() const { return places && counter.empty(); }
};

bool HasConditions(const NotesFlags& flags) {
  return flags.filter.AskForMoreThanCycles() || flags.notes.kind || flags.notes.packet ||
         !flags.notes.where.empty();
}

Failure Contradiction(const std::string& what, const std::string& remedy) {
  return {EXIT_USAGE, what, remedy};
}

MaybeFailure CheckQuestion(const NotesFlags& flags) {
  const int questions =
      (flags.by.empty() ? 0 : 1) + (flags.counter.empty() ? 0 : 1) + (flags.counters ? 1 : 0);
  if (questions > 1 || (flags.places && (flags.counters || !flags.by.empty()))) {
    return Contradiction("--by, --counter, --counters and --places ask different things",
                         "Give one of them; --places goes with --counter.");
  }
  if (flags.at && (flags.counter.empty() || flags.places)) {
    return Contradiction("--at is the place of one counter", "Give it with --counter alone.");
  }
  if (flags.at && (flags.at->NeedsArray() || flags.at->first != flags.at->last)) {
    return Contradiction("--at is one place", "Give its column and row, as in --at 3,2.");
  }
  if (flags.bins > 1 && (flags.counters || flags.places)) {
    return Contradiction("--bins divides the cycles of one attribute or counter",
                         "Give it with --by or --counter.");
  }
  if (HasConditions(flags) && !flags.CountsEvents()) {
    return Contradiction("conditions on events choose what --places counts",
                         "Give --places, or --cycles alone.");
  }
  return std::nullopt;
}

MaybeFailure CheckNotesFlags(const NotesFlags& flags) {
  for (const MaybeFailure& failure :
       {CheckQuestion(flags), flags.filter.Check(), flags.shape.Check(),
        CheckTextOutput(flags.output, flags.force, {flags.trace})}) {
    if (failure) {
      return failure;
    }
  }
  return std::nullopt;
}

// What is asked about.
struct Subject {
  IndexedTrace trace;
  std::unique_ptr<Companion> companion;
  NotedFilter filter;
  NotesRange range;
  uint32_t number = 0;  // of the attribute or the counter

  const NotesFile& Notes() const { return *companion->Notes(); }
};

// The number of what is declared by a name.
template <class Named>
MaybeFailure Find(const Subject& subject, const std::vector<Named>& declared,
                  const std::string& name, const char* what, uint32_t& number) {
  const auto found = std::find_if(declared.begin(), declared.end(),
                                  [&](const Named& one) { return one.name == name; });
  if (found != declared.end()) {
    number = static_cast<uint32_t>(found - declared.begin());
    return std::nullopt;
  }
  std::string names;
  for (const Named& one : declared) {
    names += (names.empty() ? "There are: " : ", ") + one.name;
  }
  return Failure{EXIT_INPUT, subject.Notes().Name() + ": no " + what + " has the name " + name,
                 names.empty() ? std::string("There are none.") : names + "."};
}

MaybeFailure FindNumber(const NotesFlags& flags, Subject& subject) {
  const NoteDeclarations& declarations = subject.Notes().Declarations();
  if (!flags.counter.empty()) {
    return Find(subject, declarations.counters, flags.counter, "counter", subject.number);
  }
  if (flags.counters || flags.places) {
    return std::nullopt;
  }
  return Find(subject, declarations.attributes,
              flags.by.empty() ? std::string(KIND_ATTRIBUTE) : flags.by, "attribute",
              subject.number);
}

// The cycles that are asked for, as far as the trace has them. Where cycles fall nothing tells the
// lowest.
void ChooseRange(const NotesFlags& flags, Subject& subject) {
  const Summary& summary = subject.trace.index->GetSummary();
  const NumberRange asked = flags.filter.CyclesAround();
  subject.range = {std::max(asked.first, summary.Ordered() ? summary.firstCycle : 0),
                   std::min(asked.last, summary.maxCycle), flags.bins};
}

MaybeFailure OpenSubject(const NotesFlags& flags, const Console& console, Subject& subject) {
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, subject.trace)) {
    return failure;
  }
  if (subject.trace.index->GetSummary().records == 0) {
    return Failure{EXIT_INPUT, flags.trace + ": there are no records", ""};
  }
  subject.companion = std::make_unique<Companion>(
      OpenCompanion(*subject.trace.file, subject.trace.index->GetSummary().records, console));
  if (subject.companion->Notes() == nullptr) {
    return Failure{EXIT_INPUT, flags.trace + ": there are no notes beside it that could be asked",
                   "Record it with a companion."};
  }
  if (MaybeFailure failure = FindNumber(flags, subject)) {
    return failure;
  }
  const std::optional<ArrayShape> shape =
      KnownShape({flags.shape, *subject.companion, subject.trace.index->GetSummary()});
  if (MaybeFailure failure = flags.filter.FilterFor(flags.trace, shape, subject.filter.events)) {
    return failure;
  }
  if (MaybeFailure failure = flags.notes.ConditionsFor(*subject.trace.file, *subject.companion,
                                                       subject.filter.notes)) {
    return failure;
  }
  ChooseRange(flags, subject);
  return std::nullopt;
}

Result<AnswerTable> Tell(const NotesFlags& flags, const Subject& subject, const NotesAsked& asked) {
  if (flags.counters) {
    return TellCounters(asked);
  }
  if (flags.CountsEvents()) {
    return CountByPlace(asked, subject.filter);
  }
  if (flags.counter.empty()) {
    return TellValues(asked, subject.number);
  }
  return flags.places ? TellCounterByPlace(asked, subject.number)
                      : TellCounter(asked, subject.number,
                                    flags.at ? std::optional(flags.at->first) : std::nullopt);
}

typedef NotedAnswer<AnswerTable> Told;

// Asks with an index of the notes that is opened, and with one that was made anew where that one is
// damaged.
Result<Told> AskNotes(const NotesFlags& flags, const Console& console, Subject& subject) {
  const Interruption interruption;
  ProgressLine line(console.terminal, "going through the notes of " + flags.trace, "M", 1e6);
  const ProgressCallback progress = [&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  };
  const auto ask = [&](NotesIndexUse use) -> Result<Told> {
    const auto joined = JoinNotes(subject.trace, subject.Notes(), use, progress);
    if (!joined) {
      return joined.Why();
    }
    Result<AnswerTable> table =
        Tell(flags, subject, {subject.trace, **joined, subject.range, progress});
    if (!table) {
      return table.Why();
    }
    return Told{std::move(table).Take(), (*joined)->notes.Refused()};
  };
  Result<Told> table = ask(NotesIndexUse::OPEN);
  if (table.Why().kind == Fault::DAMAGED_INDEX) {
    return ask(NotesIndexUse::REBUILD);
  }
  return table;
}

std::string AnswerJson(const NotesFlags& flags, const Subject& subject, const AnswerTable& table) {
  nlohmann::json json = {{"trace", flags.trace},
                         {"firstCycle", subject.range.first},
                         {"lastCycle", subject.range.last},
                         {"rows", TableJson(table)}};
  if (!flags.counter.empty()) {
    json["counter"] = flags.counter;
    json["unit"] = subject.Notes().Declarations().counters[subject.number].unit;
    if (flags.at) {
      json["at"] = {flags.at->first.column, flags.at->first.row};
    }
  } else if (!flags.counters && !flags.places) {
    json["attribute"] = subject.Notes().Declarations().attributes[subject.number].name;
  }
  return JsonText(json);
}

std::string AnswerText(const NotesFlags& flags, const Subject& subject, const AnswerTable& table) {
  return flags.format == "csv"    ? TableCsv(table)
         : flags.format == "json" ? AnswerJson(flags, subject, table)
                                  : TableText(table);
}

// That what the trace lost may have belonged to the answer.
MaybeFailure CheckWhole(const NotesFlags& flags, const Subject& subject) {
  const IndexedTrace& trace = subject.trace;
  const Fault& end = trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  const Result<bool> reaches = ReachesBehindEnd(*trace.file, *trace.index, subject.filter.events);
  if (!reaches) {
    return IndexingFailureOf(reaches.Why(), flags.trace);
  }
  return *reaches ? MaybeFailure(CutShort(end)) : std::nullopt;
}

MaybeFailure Notes(const NotesFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckNotesFlags(flags)) {
    return failure;
  }
  Subject subject;
  if (MaybeFailure failure = OpenSubject(flags, console, subject)) {
    return failure;
  }
  const Result<Told> told =
      AskIndexed(console, subject.trace, [&] { return AskNotes(flags, console, subject); });
  if (!told) {
    return IndexingFailureOf(told.Why(), flags.trace);
  }
  ReportRefused(told->refused, console);
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  output.Text() = AnswerText(flags, subject, told->answer);
  if (MaybeFailure failure = output.Commit()) {
    return failure;
  }
  return CheckWhole(flags, subject);
}

Action ConfigureNotes(CLI::App& app) {
  const auto flags = std::make_shared<NotesFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file with notes beside it")->required();
  app.add_option("--by", flags->by,
                 "Records by the values of this attribute, which has names or few values; kind "
                 "unless anything else is asked for");
  app.add_option("--counter", flags->counter, "What this counter does");
  app.add_flag("--counters", flags->counters, "What each counter does, summed over its places");
  app.add_flag("--places", flags->places,
               "A row for each place: of --counter, or how many events it has");
  AddRegion(app, "--at", flags->at, "The counter at this place alone: COLUMN,ROW");
  AddCount(app, "--bins", flags->bins, "So many equal parts of the cycles")
      ->capture_default_str()
      ->check(CLI::Range(size_t{1}, MOST_BINS));
  flags->filter.Declare(app);
  flags->notes.Declare(app);
  app.add_option("--format", flags->format, "text, csv or json")
      ->check(CLI::IsMember({"text", "csv", "json"}))
      ->capture_default_str();
  AddJsonFormat(app, flags->format, "json");
  AddTextOutput(app, flags->output, flags->force);
  flags->shape.Declare(app);
  return [flags](const Console& console) { return Notes(*flags, console); };
}

}  // namespace

extern const Subcommand notesSubcommand = {
    "notes", "Tell what notes amount to: records by kind, counters over time", notesFooter,
    ConfigureNotes};

}  // namespace marrowfin
