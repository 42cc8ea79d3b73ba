#include "tools/program/RunInput.h"

#include <algorithm>
#include <utility>

#include "measure/CountPackets.h"
#include "measure/KeptCounts.h"
#include "tools/program/CompanionInput.h"
#include "trace/ask/FilterRange.h"
#include "trace/ask/NotedCursor.h"

namespace marrowfin {
namespace {

// The filter; of a trace that breaks off what stands before that is counted by the index.
MaybeFailure ChooseFilter(const RunFlags& flags, CountedRun& run) {
  EventFilter& filter = run.question.filter;
  if (MaybeFailure failure = flags.filter.FilterFor(flags.trace, run.question.shape, filter)) {
    return failure;
  }
  const Summary& summary = run.trace.index->GetSummary();
  if (summary.end) {
    filter.lastRecord = std::min(filter.lastRecord, summary.records);
  }
  run.question.conditions.clear();
  return flags.notes.ConditionsFor(*run.trace.file, *run.companion, run.question.conditions);
}

// The notes of a run; nothing where it has none.
std::optional<NotesOfTrace>& NotesOf(const CountedRun& run, std::optional<NotesOfTrace>& notes) {
  if (run.companion->Notes() != nullptr) {
    notes.emplace(*run.trace.file, *run.trace.index, *run.companion->Notes());
  }
  return notes;
}

NotedFilter FilterOf(const CountedRun& run) {
  return {run.question.filter, run.question.conditions};
}

Fault Count(const RunFlags& flags, const Console& console, CountedRun& run) {
  RunQuestion question = run.question;
  std::optional<NotesOfTrace> notes;
  if (!question.conditions.empty()) {
    question.notes = &*NotesOf(run, notes);
  }
  Result<RunCounts> counts = Watched(flags, console, "M", [&](const ProgressCallback& progress) {
    const std::unique_ptr<IndexStore> kept = KeptCountsOf(*run.trace.file, *run.trace.index);
    return CountRunOnce(*run.trace.file, *run.trace.index, kept.get(), question, progress);
  });
  if (!counts) {
    return counts.Why();
  }
  if (notes) {
    ReportRefused(notes->Refused(), console);
  }
  run.counts = std::move(counts).Take();
  return {};
}

Fault Follow(const RunFlags& flags, const Console& console, CountedRun& run) {
  const bool threads = flags.packets == "thread";
  std::optional<NotesOfTrace> notes;
  NotesOfTrace* const told = NotesOf(run, notes) ? &*notes : nullptr;
  if (flags.packets == "none" || (!threads && !TellPackets(told))) {
    return {};
  }
  const TimeColumns& range = run.counts->Times().Columns();
  const PacketQuestion question = {FilterOf(run), PacketCounts::Windows(range.first, range.last),
                                   threads};
  Result<PacketCounts> packets =
      Watched(flags, console, "M records", [&](const ProgressCallback& progress) {
        return CountPackets(*run.trace.file, *run.trace.index, told, question, progress);
      });
  if (!packets) {
    return packets.Why();
  }
  run.packets = std::move(packets).Take();
  if (notes && run.question.conditions.empty()) {
    ReportRefused(notes->Refused(), console);
  }
  return {};
}

Fault Pair(const RunFlags& flags, const Console& console, CountedRun& run) {
  std::optional<NotesOfTrace> notes;
  NotesOfTrace* const told = NotesOf(run, notes) ? &*notes : nullptr;
  Result<std::optional<PairCounts>> pairs =
      Watched(flags, console, "M records", [&](const ProgressCallback& progress) {
        return CountPairs(*run.trace.file, *run.trace.index, told, FilterOf(run), progress);
      });
  if (!pairs) {
    return pairs.Why();
  }
  run.pairs = std::move(pairs).Take();
  return {};
}

Fault Group(const RunFlags& flags, const std::vector<std::string>& by, const Console& console,
            const CountedRun& run, std::vector<GroupedTraffic>& groups) {
  std::optional<NotesOfTrace> notes;
  NotesOfTrace* const told = NotesOf(run, notes) ? &*notes : nullptr;
  GroupQuestion question;
  question.filter = run.question.filter;
  question.by = by.empty() && told != nullptr ? GroupingsOf(told) : by;
  question.packets = run.packets.has_value();
  question.packetsAreThreads = flags.packets == "thread";
  question.conditions = run.question.conditions;
  if (question.by.empty()) {
    return {};
  }
  Result<std::vector<GroupedTraffic>> counted =
      Watched(flags, console, "M records", [&](const ProgressCallback& progress) {
        return CountGroups(*run.trace.file, *run.trace.index, told, question, progress);
      });
  if (!counted) {
    return counted.Why();
  }
  groups = std::move(counted).Take();
  if (notes && !run.packets && run.question.conditions.empty()) {
    ReportRefused(notes->Refused(), console);
  }
  return {};
}

// "thread 3", or "threads 0, 2-5".
std::string ThreadsText(const std::vector<ThreadRange>& threads) {
  std::string text;
  for (const ThreadRange& range : threads) {
    text += (text.empty() ? "" : ", ") + std::to_string(range.first) +
            (range.first == range.last ? "" : "-" + std::to_string(range.last));
  }
  const bool isOne = threads.size() == 1 && threads[0].first == threads[0].last;
  return (isOne ? "thread " : "threads ") + text;
}

}  // namespace

void RunFlags::Declare(CLI::App& app) {
  app.add_option("TRACE", trace, "The trace: a file, packed or not; - is standard input")
      ->required();
  DeclareConditions(app, true);
}

void RunFlags::DeclareConditions(CLI::App& app, bool numbered) {
  filter.Declare(app, numbered);
  shape.Declare(app);
}

void RunFlags::DeclareNotes(CLI::App& app) { notes.Declare(app); }

void RunFlags::DeclarePackets(CLI::App& app) {
  app.add_option("--packets", packets,
                 "What tells packets: notes (the companion), thread (each is a packet), or none")
      ->check(CLI::IsMember({"notes", "thread", "none"}))
      ->capture_default_str();
}

MaybeFailure RunFlags::Check() const {
  if (MaybeFailure failure = filter.Check()) {
    return failure;
  }
  return shape.Check();
}

bool RunFlags::AskForAll() const { return filter.AskForAll() && notes.AskForAll(); }

std::string RunFlags::Chosen() const {
  std::string text;
  const auto add = [&](const std::string& words) { text += (text.empty() ? "" : ", ") + words; };
  if (filter.threads) {
    add(ThreadsText(*filter.threads));
  }
  for (const std::string& type : filter.types) {
    add("type " + type);
  }
  if (filter.AskForPlaces()) {
    add("a region");
  }
  if (filter.inverted) {
    text = text.empty() ? "all but a part" : "all but " + text;
  }
  for (const std::string& condition : notes.Texts()) {
    add(condition);
  }
  return text;
}

MaybeFailure ChooseArray(const RunFlags& flags, CountedRun& run) {
  const About* const about = run.companion->GetAbout();
  RunQuestion& question = run.question;
  if (about != nullptr && about->array) {
    question.wrapColumns = about->array->wrapColumns;
    question.wrapRows = about->array->wrapRows;
  }
  question.columnFirst = about != nullptr && about->links && about->links->routing == "yx";
  const std::optional<ArrayShape> shape =
      KnownShape({flags.shape, *run.companion, run.trace.index->GetSummary()});
  question.shape = shape.value_or(ArrayShape());
  return shape ? std::nullopt : MaybeFailure(NoShape(flags.trace));
}

MaybeFailure OpenRun(const RunFlags& flags, const Console& console, CountedRun& run) {
  if (MaybeFailure failure = OpenIndexed(flags.trace, console, run.trace)) {
    return failure;
  }
  return DescribeRun(flags, console, run);
}

MaybeFailure DescribeRun(const RunFlags& flags, const Console& console, CountedRun& run) {
  run.companion = OpenCompanion(*run.trace.file, run.trace.index->GetSummary().records, console);
  return ChooseArray(flags, run);
}

MaybeFailure CountRunOf(const RunFlags& flags, bool withPackets, const Console& console,
                        CountedRun& run) {
  if (MaybeFailure failure = OpenRun(flags, console, run)) {
    return failure;
  }
  return AskByArray(run.trace, [&] {
    const MaybeFailure unknown = ChooseArray(flags, run);
    return unknown ? unknown : CountOpened(flags, withPackets, console, run);
  });
}

MaybeFailure CountOpened(const RunFlags& flags, bool withPackets, const Console& console,
                         CountedRun& run) {
  if (MaybeFailure failure = ChooseFilter(flags, run)) {
    return failure;
  }
  Fault fault = AskIndexed(console, run.trace, [&] { return Count(flags, console, run); });
  if (!fault && withPackets) {
    fault = AskIndexed(console, run.trace, [&] { return Follow(flags, console, run); });
  }
  return fault ? MaybeFailure(IndexingFailureOf(fault, flags.trace)) : std::nullopt;
}

MaybeFailure GroupCounted(const RunFlags& flags, const std::vector<std::string>& by,
                          const Console& console, CountedRun& run,
                          std::vector<GroupedTraffic>& groups) {
  const Fault fault =
      AskIndexed(console, run.trace, [&] { return Group(flags, by, console, run, groups); });
  return fault ? MaybeFailure(IndexingFailureOf(fault, flags.trace)) : std::nullopt;
}

MaybeFailure PairCounted(const RunFlags& flags, const Console& console, CountedRun& run) {
  const Fault fault = AskIndexed(console, run.trace, [&] { return Pair(flags, console, run); });
  return fault ? MaybeFailure(IndexingFailureOf(fault, flags.trace)) : std::nullopt;
}

Fault NothingTellsPackets(const RunFlags& flags) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = flags.trace;
  fault.reason = "nothing tells its packets";
  fault.remedy = flags.packets == "none"
                     ? "leave --packets none out"
                     : "record it with a companion that names them, or say --packets thread where "
                       "each thread is a packet";
  return fault;
}

MaybeFailure CheckWhole(const RunFlags& flags, const CountedRun& run) {
  const Fault& end = run.trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  EventFilter asked;
  if (MaybeFailure failure = flags.filter.FilterFor(flags.trace, run.question.shape, asked)) {
    return failure;
  }
  const Result<bool> reaches = ReachesBehindEnd(*run.trace.file, *run.trace.index, asked);
  if (!reaches) {
    return IndexingFailureOf(reaches.Why(), flags.trace);
  }
  return *reaches ? MaybeFailure(CutShort(end)) : std::nullopt;
}

}  // namespace marrowfin
