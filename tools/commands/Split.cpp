#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/program/CutInput.h"
#include "tools/program/Flags.h"
#include "tools/program/Output.h"
#include "tools/program/Subcommands.h"
#include "trace/ask/EventCursor.h"
#include "trace/ask/FilterRange.h"

namespace marrowfin {
namespace {

constexpr char splitFooter[] =
    "Examples:\n"
    "  marrowfin-trace split run.trace --every-size 200K -o part.trace\n"
    "  marrowfin-trace split run.trace --every-cycles 500 --cycles ..2000 -o span.trace\n"
    "  marrowfin-trace split run.trace --by-thread -o run.trace --json\n"
    "\n"
    "Writes the pieces of a trace, or of what meets all conditions, each a trace with a companion\n"
    "of its own: part-0001.trace, part-0002.trace, ... or part-thread-3.trace. Merged again they\n"
    "are the whole. Where something goes wrong the pieces that are complete stay. None is written\n"
    "where one of the first 4,096 names that there may be is taken, or where there may be more\n"
    "than 100,000.\n"
    "\n"
    "Exit status: 0 done, 1 the trace cannot be read or breaks off before all that was asked for,\n"
    "2 command line refused, 3 a piece cannot be written or nowhere is room for the index.";

constexpr uint64_t MOST_PIECES = 100'000;   // files of a folder
constexpr uint64_t MOST_LOOKED_FOR = 4096;  // names before any piece is written: each takes a while
constexpr uint64_t LARGEST_RECORD = 36;     // bytes

struct SplitFlags {
  CutFlags cut;
  std::optional<uint64_t> records;
  std::optional<uint64_t> size;
  std::optional<uint64_t> cycles;
  bool byThread = false;
};

// "part.trace" with the word before its ending.
std::string PieceName(const std::string& output, const std::string& word) {
  const size_t slash = output.rfind('/');
  const size_t dot = output.rfind('.');
  const bool hasEnding =
      dot != std::string::npos && dot > (slash == std::string::npos ? 0 : slash + 1);
  return hasEnding ? output.substr(0, dot) + "-" + word + output.substr(dot) : output + "-" + word;
}

std::string NumberedName(const std::string& output, size_t number) {
  constexpr size_t DIGITS = 4;
  std::string digits = std::to_string(number);
  digits.insert(0, DIGITS - std::min(DIGITS, digits.size()), '0');
  return PieceName(output, digits);
}

// A trace that is split, and the pieces so far.
class Splitting {
 public:
  Splitting(const SplitFlags& flags, const Console& console) : flags(flags), console(console) {}

  MaybeFailure Split() {
    if (MaybeFailure failure = OpenCut(flags.cut, console, source)) {
      return failure;
    }
    if (MaybeFailure failure = flags.byThread ? CheckThreadNames() : CheckNumberedNames()) {
      return failure;
    }
    MaybeFailure failure = flags.byThread ? SplitByThread()
                           : flags.cycles ? SplitByCycles()
                                          : SplitBySize();
    if (!accounts.empty()) {
      TellEdited(accounts, flags.cut.edit.json, console);
    }
    return failure ? failure : CheckCutWhole(source, source.filter.events);
  }

 private:
  CutQuestion Question() const {
    CutQuestion question;
    question.filter = source.filter;
    question.leadIn = flags.cut.leadIn;
    return question;
  }

  // At most so many pieces there are, of what is asked for; no more than one more than may be.
  uint64_t MostPieces() const {
    const EventFilter& filter = source.filter.events;
    const Summary& summary = source.edited.GetSummary();
    const Result<RecordRange> range =
        RangeOf(*source.edited.trace.file, *source.edited.trace.index, filter);
    const uint64_t records = range ? range->end - range->begin : summary.records;
    const auto pieces = [](uint64_t all, uint64_t each) {
      return std::min(all / each, MOST_PIECES) + 1;
    };
    uint64_t most = pieces(records, 1);
    if (flags.records) {
      most = std::min(most, pieces(records, *flags.records));
    }
    if (flags.size) {
      // Each has a record at least, however large, and a lead-in besides.
      const uint64_t over = (flags.cut.leadIn ? 2 : 1) * LARGEST_RECORD;
      const uint64_t room = *flags.size > over ? *flags.size - over : 1;
      most = std::min(most, pieces(records * LARGEST_RECORD, room));
    }
    if (flags.cycles && summary.maxCycle >= filter.firstCycle) {
      const uint64_t first = std::max(summary.firstCycle, filter.firstCycle);
      const uint64_t last = std::max(first, std::min(summary.maxCycle, filter.lastCycle));
      most = std::min(most, pieces(last - first, *flags.cycles));
    }
    return most;
  }

  MaybeFailure CheckName(const std::string& name) const {
    return CheckEditOutput(flags.cut.edit, name, {flags.cut.trace});
  }

  // Nothing is written where a piece must not be: an older one that stood behind the last would be
  // taken for one of these.
  MaybeFailure CheckNumberedNames() const {
    const uint64_t most = MostPieces();
    if (most > MOST_PIECES) {
      return Failure{
          EXIT_USAGE,
          flags.cut.trace + ": may become more than " + std::to_string(MOST_PIECES) + " pieces",
          "Ask for larger pieces."};
    }
    for (uint64_t number = 1; number <= std::min(most, MOST_LOOKED_FOR); ++number) {
      if (MaybeFailure failure = CheckName(NumberedName(flags.cut.edit.output, number))) {
        return failure;
      }
    }
    return std::nullopt;
  }

  std::string ThreadName(uint32_t thread) const {
    return PieceName(flags.cut.edit.output, "thread-" + std::to_string(thread));
  }

  MaybeFailure CheckThreadNames() const {
    for (const auto& [thread, unused] : source.edited.GetSummary().threads) {
      if (source.filter.events.HasThread(thread)) {
        if (MaybeFailure failure = CheckName(ThreadName(thread))) {
          return failure;
        }
      }
    }
    return std::nullopt;
  }

  MaybeFailure Write(const CutQuestion& question, const std::string& name, CutAccount& cut) {
    if (MaybeFailure failure = CheckName(name)) {
      return failure;
    }
    EditAccount account;
    if (MaybeFailure failure = CutPart(flags.cut, question, name, console, source, cut, account)) {
      return failure;
    }
    accounts.push_back(account);
    return std::nullopt;
  }

  std::string NextName() const { return NumberedName(flags.cut.edit.output, accounts.size() + 1); }

  MaybeFailure SplitBySize() {
    CutQuestion question = Question();
    question.tellsNext = true;
    question.mostRecords = flags.records.value_or(question.mostRecords);
    question.mostBytes = flags.size.value_or(question.mostBytes);
    for (std::optional<uint64_t> next = 0; next;) {
      question.from = *next;
      CutAccount cut;
      if (MaybeFailure failure = Write(question, NextName(), cut)) {
        return failure;
      }
      next = cut.next;
    }
    return std::nullopt;
  }

  // The cycle of the first event that a filter lets through.
  Result<std::optional<uint64_t>> FirstCycle(const EventFilter& filter) const {
    EventCursor cursor(*source.edited.trace.file, *source.edited.trace.index, filter);
    TraceEvent event;
    if (cursor.Next(event)) {
      return std::optional(event.cycle);
    }
    return cursor.GetFault() ? Result<std::optional<uint64_t>>(cursor.GetFault())
                             : std::optional<uint64_t>();
  }

  // Spans are counted from the first cycle that is asked for, so that those of two threads are the
  // same.
  MaybeFailure SplitByCycles() {
    const Summary& summary = source.edited.GetSummary();
    if (!summary.Ordered()) {
      return Failure{EXIT_INPUT, flags.cut.trace + ": its cycles fall",
                     "Put it in order first: marrowfin-trace sort."};
    }
    CutQuestion question = Question();
    EventFilter& filter = question.filter.events;
    const uint64_t last = filter.lastCycle;
    const uint64_t origin = std::max(filter.firstCycle, summary.firstCycle);
    for (;;) {
      filter.lastCycle = last;
      const Result<std::optional<uint64_t>> first = FirstCycle(filter);
      if (!first) {
        return IndexingFailureOf(first.Why(), flags.cut.trace);
      }
      if (!*first) {
        return std::nullopt;
      }
      filter.firstCycle = origin + (**first - origin) / *flags.cycles * *flags.cycles;
      const uint64_t length = std::min(*flags.cycles - 1, last - filter.firstCycle);
      filter.lastCycle = filter.firstCycle + length;
      CutAccount cut;
      if (MaybeFailure failure = Write(question, NextName(), cut)) {
        return failure;
      }
      if (filter.lastCycle == last) {
        return std::nullopt;
      }
      filter.firstCycle = filter.lastCycle + 1;
    }
  }

  MaybeFailure SplitByThread() {
    const Summary& summary = source.edited.GetSummary();
    if (summary.otherThreads > 0) {
      return Failure{EXIT_INPUT, flags.cut.trace + ": there are more threads than are told apart",
                     "Split it by records, or cut single threads out of it."};
    }
    for (const auto& [thread, unused] : summary.threads) {
      CutQuestion question = Question();
      if (!question.filter.events.HasThread(thread)) {
        continue;
      }
      question.filter.events.threads.clear();
      question.filter.events.thread = thread;
      CutAccount cut;
      if (MaybeFailure failure = Write(question, ThreadName(thread), cut)) {
        return failure;
      }
    }
    return std::nullopt;
  }

  const SplitFlags& flags;
  const Console& console;
  CutSource source;
  std::vector<EditAccount> accounts;
};

MaybeFailure CheckSplitFlags(const SplitFlags& flags) {
  const int ways = (flags.records ? 1 : 0) + (flags.size ? 1 : 0) + (flags.cycles ? 1 : 0) +
                   (flags.byThread ? 1 : 0);
  if (ways != 1) {
    return Failure{EXIT_USAGE, "a trace is split by records, size, cycles or thread",
                   "Give one of --every-records, --every-size, --every-cycles and --by-thread."};
  }
  if (flags.records == 0U || flags.size == 0U || flags.cycles == 0U) {
    return Failure{EXIT_USAGE, "a piece of nothing", "Give at least 1."};
  }
  if (flags.cut.edit.output == STANDARD_STREAM) {
    return Failure{EXIT_USAGE, "several traces do not go to standard output",
                   "Name the pieces with -o."};
  }
  return flags.cut.Check();
}

MaybeFailure Split(const SplitFlags& flags, const Console& console) {
  if (MaybeFailure failure = CheckSplitFlags(flags)) {
    return failure;
  }
  return Splitting(flags, console).Split();
}

Action ConfigureSplit(CLI::App& app) {
  const auto flags = std::make_shared<SplitFlags>();
  flags->cut.Declare(app);
  AddCount(app, "--every-records", flags->records, "So many records a piece");
  AddSize(app, "--every-size", flags->size, "So many bytes a piece, as in 200M, without its notes");
  AddCount(app, "--every-cycles", flags->cycles, "So many cycles a piece");
  app.add_flag("--by-thread", flags->byThread, "A piece for each thread");
  app.add_option("-o,--output", flags->cut.edit.output,
                 "What the pieces are called: part.trace for part-0001.trace and so on")
      ->required();
  flags->cut.edit.DeclareHow(app);
  return [flags](const Console& console) { return Split(*flags, console); };
}

}  // namespace

extern const Subcommand splitSubcommand = {
    "split", "Copy a trace into several, by size, cycles or thread", splitFooter, ConfigureSplit};

}  // namespace marrowfin
