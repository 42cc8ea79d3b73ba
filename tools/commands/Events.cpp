#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tools/program/EventLines.h"
#include "tools/program/FilterFlags.h"
#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/Subcommands.h"
#include "tools/program/TextOutput.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventCounter.h"
#include "trace/ask/FilterRange.h"
#include "trace/read/FittingShapes.h"
#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace events run.trace --limit 20\n"
    "  marrowfin-trace events run.trace --cycles 100:120 --type fire,send --region 0,0:3,3\n"
    "  marrowfin-trace events run.trace --thread 1 --region cluster:1,0 --last 10\n"
    "  marrowfin-trace events run.trace --type send --format csv -o sends.csv\n"
    "  marrowfin-trace events run.trace --steps 7: --count\n"
    "\n"
    "All conditions must hold. Text is for people; CSV and JSON lines hold the same. Only what is\n"
    "asked for is read: the index passes over the rest.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 the output cannot be written or nowhere is room for the index.";

constexpr std::pair<const char*, EventFormat> FORMATS[] = {
    {"text", EventFormat::TEXT}, {"csv", EventFormat::CSV}, {"jsonl", EventFormat::JSON_LINES}};

struct EventsFlags {
  std::string trace;
  FilterFlags filter;
  ShapeFlags shape;
  std::string format = FORMATS[0].first;
  std::optional<uint64_t> limit;
  std::optional<uint64_t> last;
  bool backwards = false;
  bool count = false;
  std::optional<std::string> output;
};

std::vector<std::string> FormatNames() {
  std::vector<std::string> names;
  for (const auto& [name, unused] : FORMATS) {
    names.push_back(name);
  }
  return names;
}

EventFormat FormatNamed(const std::string& name) {
  return std::find_if(std::begin(FORMATS), std::end(FORMATS),
                      [&](const auto& format) { return format.first == name; })
      ->second;
}

MaybeFailure CheckFlags(const EventsFlags& flags) {
  if (flags.limit && flags.last) {
    return Failure{EXIT_USAGE, "--limit tells the first events and --last the last ones",
                   "Give one of them."};
  }
  if (flags.count && (flags.limit || flags.last || flags.backwards)) {
    return Failure{EXIT_USAGE, "--count counts all events that the other flags choose",
                   "Leave out --limit, --last and --backwards."};
  }
  if (flags.output && IsSameFile(flags.trace, *flags.output)) {
    return Failure{EXIT_USAGE, *flags.output + ": is the trace",
                   "Name another output with -o: the list would replace the trace."};
  }
  if (MaybeFailure failure = flags.filter.Check()) {
    return failure;
  }
  return flags.shape.Check();
}

// A question about a trace, and where its answer goes.
struct Question {
  const EventsFlags& flags;
  const EventFilter& filter;
  IndexedTrace& trace;
  EventLines& lines;
  TextOutput& output;
  const Console& console;

  std::string Task() const { return "searching " + flags.trace; }

  // Whether results and progress meet on one terminal.
  bool IsWatched() const { return !flags.output && isatty(STDOUT_FILENO) != 0; }
};

// Goes through the events that are asked for.
//
// Where the index turns out to be damaged, List is called again with the new one, and goes on
// behind what was listed: that came from the trace itself.
class Lister {
 public:
  explicit Lister(Question& question)
      : question(question),
        left(question.flags.last ? *question.flags.last
                                 : question.flags.limit.value_or(~uint64_t{0})),
        backwards(question.flags.backwards) {}

  [[nodiscard]] Fault List() {
    const Interruption interruption;
    ProgressLine line(question.console.terminal, question.Task(), "M records", 1e6);
    BatchCursor cursor(*question.trace.file, *question.trace.index, question.filter,
                       [&](const Progress& now) {
                         line.Update(now.done, now.all);
                         return !interruption.Asked();
                       });
    Selection found;
    const uint64_t start = place ? *place : FirstPlace(cursor, found);
    cursor.Seek(start);
    while (left > 0 && !cursor.GetFault() && !failure && question.output.IsTaken() &&
           Move(cursor, found)) {
      if (question.IsWatched()) {
        line.Hide();
      }
      Add(found);
      failure = question.IsWatched() ? question.output.Write() : question.output.Pass();
    }
    return cursor.GetFault();
  }

  // Why the output cannot be written.
  const MaybeFailure& GetFailure() const { return failure; }
  uint64_t Listed() const { return listed; }

  // Whether as many were listed as were wanted, and none of them can have been lost.
  bool IsSated() const { return left == 0 && !backwards && !question.flags.last; }

 private:
  // Before which record the list begins.
  uint64_t FirstPlace(BatchCursor& cursor, Selection& found) const {
    uint64_t record = backwards || question.flags.last ? ~uint64_t{0} : 0;
    if (question.flags.last && !backwards) {
      cursor.Seek(record);
      for (uint64_t wanted = left; wanted > 0 && cursor.Previous(found);) {
        const uint64_t taken = std::min<uint64_t>(wanted, found.Size());
        wanted -= taken;
        record = found.Record(found.Size() - static_cast<size_t>(taken));
      }
    }
    return record;
  }

  bool Move(BatchCursor& cursor, Selection& found) const {
    return backwards ? cursor.Previous(found) : cursor.Next(found);
  }

  void Add(const Selection& found) {
    const size_t size = static_cast<size_t>(std::min<uint64_t>(left, found.Size()));
    for (size_t i = 0; i < size; ++i) {
      question.lines.Add(found.Event(backwards ? found.Size() - 1 - i : i), question.output.Text());
    }
    left -= size;
    listed += size;
    place = backwards ? found.begin : found.end;
  }

  Question& question;
  uint64_t left;
  const bool backwards;
  uint64_t listed = 0;
  std::optional<uint64_t> place;  // before which record the list goes on
  MaybeFailure failure;
};

[[nodiscard]] Result<uint64_t> Count(const Question& question) {
  const Interruption interruption;
  ProgressLine line(question.console.terminal, question.Task(), "M records", 1e6);
  EventCounter counter(*question.trace.file, *question.trace.index, question.filter);
  return counter.Count([&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
}

// That what the trace lost may have belonged to the answer.
MaybeFailure CheckWhole(const Question& question) {
  const Fault& end = question.trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  const Result<bool> reaches =
      ReachesBehindEnd(*question.trace.file, *question.trace.index, question.filter);
  if (!reaches) {
    return IndexingFailureOf(reaches.Why(), question.flags.trace);
  }
  return *reaches ? MaybeFailure(CutShort(end)) : std::nullopt;
}

// Says what was written where that is not seen.
void Account(const Question& question, const std::string& what) {
  if (question.flags.output) {
    AccountStream(question.console, *question.flags.output)
        << *question.flags.output << ": " << what << "\n";
  }
}

MaybeFailure TellCount(Question& question) {
  const Result<uint64_t> count =
      AskIndexed(question.console, question.trace, [&] { return Count(question); });
  if (!count) {
    return IndexingFailureOf(count.Why(), question.flags.trace);
  }
  question.lines.Count(*count, question.output.Text());
  if (MaybeFailure failure = question.output.Commit()) {
    return failure;
  }
  Account(question, "the number of events, " + std::to_string(*count));
  return CheckWhole(question);
}

MaybeFailure TellList(Question& question) {
  question.lines.Begin(question.output.Text());
  Lister lister(question);
  const Fault fault = AskIndexed(question.console, question.trace, [&] { return lister.List(); });
  if (lister.GetFailure()) {
    return lister.GetFailure();
  }
  if (fault) {
    // What was listed so far is true; a file that lacks the rest is not kept.
    const MaybeFailure unwritten = question.flags.output ? std::nullopt : question.output.Write();
    return unwritten ? unwritten : IndexingFailureOf(fault, question.flags.trace);
  }
  if (MaybeFailure failure = question.output.Commit()) {
    return failure;
  }
  Account(question, std::to_string(lister.Listed()) + " events");
  return lister.IsSated() ? std::nullopt : CheckWhole(question);
}

MaybeFailure Events(const EventsFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckFlags(flags)) {
    return failure;
  }
  IndexedTrace trace;
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, trace)) {
    return failure;
  }
  const Summary summary = trace.index->GetSummary();
  const EventNaming naming = {
      summary, flags.shape.Given() ? std::optional(flags.shape.Shape()) : SuggestShape(summary)};
  EventFilter filter;
  if (MaybeFailure failure = flags.filter.FilterFor(flags.trace, naming.shape, filter)) {
    return failure;
  }
  TextOutput output(console);
  if (MaybeFailure failure = output.Open(flags.output)) {
    return failure;
  }
  const std::unique_ptr<EventLines> lines = MakeEventLines(FormatNamed(flags.format), naming);
  Question question = {flags, filter, trace, *lines, output, console};
  return flags.count ? TellCount(question) : TellList(question);
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<EventsFlags>();
  app.add_option("TRACE", flags->trace, "The trace: a plain file")->required();
  flags->filter.Declare(app);
  AddCount(app, "--limit", flags->limit, "Only so many events, the first ones");
  AddCount(app, "--last", flags->last, "Only so many events, the last ones");
  app.add_flag("--backwards", flags->backwards, "The latest event first");
  app.add_flag("--count", flags->count, "Tell how many there are, and none of them");
  app.add_option("--format", flags->format, "text, csv, or jsonl: a JSON object a line")
      ->check(CLI::IsMember(FormatNames()))
      ->capture_default_str();
  app.add_option("-o,--output", flags->output, "Write to this file, not to standard output");
  flags->shape.Declare(app);
  return [flags](const Console& console) { return Events(*flags, console); };
}

}  // namespace

extern const Subcommand eventsSubcommand = {"events", "List the events of a trace", footer,
                                            Configure};

}  // namespace marrowfin
