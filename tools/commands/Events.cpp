#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/program/CompanionInput.h"
#include "tools/program/EventFormat.h"
#include "tools/program/EventList.h"
#include "tools/program/FilterFlags.h"
#include "tools/program/Flags.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TerminalText.h"
#include "tools/program/TextOutput.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/FilterRange.h"

namespace marrowfin {
namespace {

constexpr char eventsFooter[] =
    "Examples:\n"
    "  marrowfin-trace events run.trace --limit 20\n"
    "  marrowfin-trace events run.trace --cycles 100..120 --types fire,send --rect 0,0,3,3\n"
    "  marrowfin-trace events run.trace --threads 0,2-3 --cluster 1,0 --last 10\n"
    "  marrowfin-trace events run.trace --not --threads 0 --limit 20\n"
    "  marrowfin-trace events run.trace --types send --format csv -o sends.csv\n"
    "  marrowfin-trace events noted.trace --packet 7\n"
    "  marrowfin-trace events noted.trace --kind wait --where 'size>=64' --format jsonl\n"
    "  marrowfin-trace events run.trace --steps 7: --count\n"
    "\n"
    "All conditions must hold. Text is for people; CSV and JSON lines hold the same. Only what is\n"
    "asked for is read: the index passes over the rest. Notes that stand beside a trace are told\n"
    "with its events and may be asked for: 'packet' (noted), '!packet' (not noted), 'kind!=wait',\n"
    "'size>=64', 'created=100..200', 'consumes~17'.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

constexpr std::pair<const char*, EventFormat> EVENTS_FORMATS[] = {
    {"text", EventFormat::TEXT}, {"csv", EventFormat::CSV}, {"jsonl", EventFormat::JSON_LINES}};

struct EventsFlags {
  std::string trace;
  FilterFlags filter;
  NoteFlags notes;
  ShapeFlags shape;
  std::string format = EVENTS_FORMATS[0].first;
  std::optional<uint64_t> limit;
  std::optional<uint64_t> last;
  bool backwards = false;
  bool count = false;
  std::optional<std::string> output;
  bool force = false;
};

std::vector<std::string> EventsFormatNames() {
  std::vector<std::string> names;
  for (const auto& [name, unused] : EVENTS_FORMATS) {
    names.push_back(name);
  }
  return names;
}

EventFormat EventsFormatNamed(const std::string& name) {
  return std::find_if(std::begin(EVENTS_FORMATS), std::end(EVENTS_FORMATS),
                      [&](const auto& format) { return format.first == name; })
      ->second;
}

MaybeFailure CheckEventsFlags(const EventsFlags& flags) {
  if (flags.limit && flags.last) {
    return Failure{EXIT_USAGE, "--limit tells the first events and --last the last ones",
                   "Give one of them."};
  }
  if (flags.count && (flags.limit || flags.last || flags.backwards)) {
    return Failure{EXIT_USAGE, "--count counts all events that the other flags choose",
                   "Leave out --limit, --last and --backwards."};
  }
  if (MaybeFailure failure = CheckTextOutput(flags.output, flags.force, {flags.trace})) {
    return failure;
  }
  if (MaybeFailure failure = flags.filter.Check()) {
    return failure;
  }
  return flags.shape.Check();
}

// What a question is told with.
struct Telling {
  const EventsFlags& flags;
  const EventQuestion& question;
  EventLines& lines;
  TextOutput& output;
};

// That what the trace lost may have belonged to the answer.
MaybeFailure CheckWhole(const Telling& telling) {
  const IndexedTrace& trace = telling.question.trace;
  const Fault& end = trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  const Result<bool> reaches =
      ReachesBehindEnd(*trace.file, *trace.index, telling.question.filter.events);
  if (!reaches) {
    return IndexingFailureOf(reaches.Why(), telling.flags.trace);
  }
  return *reaches ? MaybeFailure(CutShort(end)) : std::nullopt;
}

// Says what was written where that is not seen.
void Account(const Telling& telling, const std::string& what) {
  if (telling.flags.output) {
    std::ostream& out = AccountStream(telling.question.console, *telling.flags.output);
    out << LineFor(out, *telling.flags.output) << ": " << what << "\n";
  }
}

MaybeFailure TellCount(const Telling& telling) {
  const EventQuestion& question = telling.question;
  const Result<NotedAnswer<uint64_t>> count =
      AskIndexed(question.console, question.trace, [&] { return CountEvents(question); });
  if (!count) {
    return IndexingFailureOf(count.Why(), telling.flags.trace);
  }
  ReportRefused(count->refused, question.console);
  telling.lines.Count(count->answer, telling.output.Text());
  if (MaybeFailure failure = telling.output.Commit()) {
    return failure;
  }
  Account(telling, "the number of events, " + std::to_string(count->answer));
  return CheckWhole(telling);
}

MaybeFailure TellList(const Telling& telling) {
  const EventQuestion& question = telling.question;
  TextOutput& output = telling.output;
  const EventsFlags& flags = telling.flags;
  EventList list(question,
                 {flags.last ? *flags.last : flags.limit.value_or(~uint64_t{0}),
                  flags.last.has_value(), flags.backwards},
                 telling.lines, output);
  const Fault fault = AskIndexed(question.console, question.trace, [&] { return list.Write(); });
  if (list.GetFailure()) {
    return list.GetFailure();
  }
  if (fault) {
    // What was listed so far is true; a file that lacks the rest is not kept.
    const MaybeFailure unwritten = flags.output ? std::nullopt : output.Write();
    return unwritten ? unwritten : IndexingFailureOf(fault, flags.trace);
  }
  if (MaybeFailure failure = output.Commit()) {
    return failure;
  }
  ReportRefused(list.Refused(), question.console);
  Account(telling, std::to_string(list.Written()) + " events");
  return list.IsSated() ? std::nullopt : CheckWhole(telling);
}

MaybeFailure Events(const EventsFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckEventsFlags(flags)) {
    return failure;
  }
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  const Summary summary = trace.index->GetSummary();
  const Companion companion = OpenCompanion(*trace.file, summary.records, console);
  const NotesFile* const notes = companion.Notes();
  const EventNaming naming = {summary, KnownShape({flags.shape, companion, summary}),
                              companion.GetAbout(),
                              notes != nullptr ? &notes->Declarations() : nullptr};
  NotedFilter filter;
  if (MaybeFailure failure = flags.filter.FilterFor(flags.trace, naming.shape, filter.events)) {
    return failure;
  }
  if (MaybeFailure failure = flags.notes.ConditionsFor(*trace.file, companion, filter.notes)) {
    return failure;
  }
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  const std::unique_ptr<EventLines> lines = MakeEventLines(EventsFormatNamed(flags.format), naming);
  const EventQuestion question = {trace, notes, filter, console,
                                  !flags.output && isatty(STDOUT_FILENO) != 0};
  const Telling telling = {flags, question, *lines, output};
  return flags.count ? TellCount(telling) : TellList(telling);
}

Action ConfigureEvents(CLI::App& app) {
  const auto flags = std::make_shared<EventsFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  flags->filter.Declare(app);
  flags->notes.Declare(app);
  AddCount(app, "--limit", flags->limit, "Only so many events, the first ones");
  AddCount(app, "--last", flags->last, "Only so many events, the last ones");
  app.add_flag("--backwards", flags->backwards, "The latest event first");
  app.add_flag("--count", flags->count, "Tell how many there are, and none of them");
  app.add_option("--format", flags->format, "text, csv, or jsonl: a JSON object a line")
      ->check(CLI::IsMember(EventsFormatNames()))
      ->capture_default_str();
  AddJsonFormat(app, flags->format, "jsonl");
  AddTextOutput(app, flags->output, flags->force);
  flags->shape.Declare(app);
  return [flags](const Console& console) { return Events(*flags, console); };
}

}  // namespace

extern const Subcommand eventsSubcommand = {"events", "List the events of a trace", eventsFooter,
                                            ConfigureEvents};

}  // namespace marrowfin
