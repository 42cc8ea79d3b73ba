#include "measure/CountRun.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

#include "measure/CountByTables.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/NotedCursor.h"
#include "trace/read/FittingShapes.h"
#include "trace/read/Split.h"

namespace marrowfin {
namespace {

// As far before the end as any record can be found from.
constexpr uint64_t TAIL = 1 << 16;

// Counts a piece of the trace.
class Counter : public PieceTaker {
 public:
  Counter(const RunShape& shape, const EventFilter& filter)
      : shape(shape), selector(filter), counts(shape) {}

  void Take(const Columns& columns) override {
    Selection selection;
    selection.columns = &columns;
    selection.rows = selector.Select(columns, 0, columns.size);
    counts.Add(selection);
  }

  void Forget() override { counts = RunCounts(shape); }

  const RunCounts& Get() const { return counts; }

 private:
  RunShape shape;
  Selector selector;
  RunCounts counts;
};

// Raises range.last to what stands from `offset` to the end of the trace.
Fault TakeTail(const TraceSource& trace, uint64_t offset, Columns& columns, CycleRange& range) {
  while (offset < trace.Size()) {
    Result<uint64_t> next = trace.Decode(offset, trace.Size(), columns);
    if (!next) {
      return next.Why();
    }
    for (size_t i = 0; i < columns.size; ++i) {
      range.last = std::max(range.last, columns.cycle[i]);
    }
    offset = *next;
  }
  return {};
}

// All records, a piece for each processor.
Result<RunCounts> CountInPieces(const TraceSource& trace, const RunShape& shape,
                                const EventFilter& filter, const ProgressCallback& progress) {
  const size_t pieces = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 16);
  std::vector<std::unique_ptr<Counter>> counters;
  std::vector<PieceTaker*> takers;
  for (size_t i = 0; i < pieces; ++i) {
    counters.push_back(std::make_unique<Counter>(shape, filter));
    takers.push_back(counters.back().get());
  }
  if (Fault end = ReadInPieces(trace, takers, progress).end) {
    return end;
  }
  RunCounts all = counters[0]->Get();
  for (size_t i = 1; i < pieces; ++i) {
    all.Add(counters[i]->Get());
  }
  return all;
}

// What a cursor tells to read.
template <class Cursor>
Result<RunCounts> CountFrom(Cursor cursor, const RunShape& shape) {
  RunCounts counts(shape);
  Selection found;
  while (cursor.Next(found)) {
    counts.Add(found);
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return counts;
}

bool NeedsIndex(const EventFilter& filter) {
  return filter.firstRecord != 0 || filter.lastRecord != ~uint64_t{0} || filter.firstStep != 0 ||
         filter.lastStep != ~uint64_t{0} || !filter.without.empty();
}

bool IsPartial(const EventFilter& filter) {
  return NeedsIndex(filter) || !filter.HasEveryCycle() || !filter.HasEveryThread() || filter.region;
}

// Whether cycles are asked for, and all that is in them.
bool AsksForCycles(const RunQuestion& question) {
  const EventFilter& filter = question.filter;
  return question.conditions.empty() && !NeedsIndex(filter) && filter.HasEveryType() &&
         filter.HasEveryThread() && !filter.region;
}

RunShape ShapeOf(const RunQuestion& question, const TimeColumns& columns) {
  RunShape shape = {question.shape, question.wrapColumns, question.wrapRows, question.columnFirst,
                    columns};
  shape.elementLinks = question.elementLinks;
  shape.elementPulses = question.elementPulses;
  shape.switchPulses = question.switchPulses;
  return shape;
}

class Question {
 public:
  Question(const TraceSource& trace, const Index* index, const RunQuestion& question,
           const ProgressCallback& progress)
      : trace(trace), index(index), question(question), progress(progress) {}

  Result<RunCounts> Count(CycleRange range) const {
    const TimeColumns columns = TimeColumns::AtMost(range.first, range.last, question.mostColumns);
    const RunShape shape = ShapeOf(question, columns);
    if (!question.conditions.empty()) {
      return CountFrom(NotedCursor(trace, *index, *question.notes,
                                   {question.filter, question.conditions}, progress),
                       shape);
    }
    return index != nullptr && IsPartial(question.filter)
               ? CountFrom(BatchCursor(trace, *index, question.filter, progress), shape)
               : CountInPieces(trace, shape, question.filter, progress);
  }

 private:
  const TraceSource& trace;
  const Index* index;
  const RunQuestion& question;
  const ProgressCallback& progress;
};

// What the tables of an index tell, if that suffices.
Result<std::optional<RunCounts>> Tell(const TraceSource& trace, const Index& index,
                                      const RunQuestion& question, CycleRange range,
                                      const ProgressCallback& progress) {
  const bool overTime = question.timelineSuffices;
  const TimeColumns columns =
      overTime ? TimeColumns::AtMost(range.first, range.last, question.mostColumns)
               : TimeColumns{range.first, range.last, ~uint64_t{0}};
  return CountByTables(trace, index, ShapeOf(question, columns),
                       overTime && question.timelineByThread, progress);
}

// The same as far as an index tells, which knows where a trace breaks off.
Result<CycleRange> CyclesKnown(const TraceSource& trace, const Index& index) {
  const Summary& summary = index.GetSummary();
  if (summary.records == 0) {
    return NoRecords(trace);
  }
  return CycleRange{summary.firstCycle, summary.maxCycle};
}

uint64_t SumOf(const std::vector<uint64_t>& counts) {
  return std::accumulate(counts.begin(), counts.end(), uint64_t{0});
}

// Whether all fires and transmissions are at units of the array. Columns lack those of other
// cycles than were asked for, units those that are none of the array.
bool AreOnArray(const RunCounts& counts) {
  uint64_t fires = 0;
  for (const ElementCounts& element : counts.Places().Elements()) {
    fires += element.fires;
  }
  return SumOf(counts.Times().OfType(FIRE_RECORD)) <= fires &&
         SumOf(counts.Times().OfType(SWITCH_RECORD)) <= SumOf(counts.Places().Transmissions());
}

Result<RunCounts> Count(const TraceSource& trace, const Index* index, const RunQuestion& question,
                        const ProgressCallback& progress) {
  const Result<CycleRange> cycles = index != nullptr ? CyclesKnown(trace, *index) : CyclesOf(trace);
  if (!cycles) {
    return cycles.Why();
  }
  const CycleRange range = cycles->Narrowed(question.filter);
  if (index != nullptr && AsksForCycles(question) &&
      (question.sumsSuffice || question.timelineSuffices)) {
    Result<std::optional<RunCounts>> told = Tell(trace, *index, question, range, progress);
    if (!told) {
      return told.Why();
    }
    if (*told) {
      return std::move(**told);
    }
  }
  const Question asked(trace, index, question, progress);
  Result<RunCounts> counts = asked.Count(range);
  if (!counts || counts->IsEmpty()) {
    return counts;
  }
  // Cycles fall, or only records and steps were asked for: now the cycles of those are known.
  const CycleRange seen = {counts->FirstCycle(), counts->LastCycle()};
  if (!range.Has(seen) ||
      (index != nullptr && AsksForRecords(question.filter, index->GetSummary()))) {
    return asked.Count(seen);
  }
  return counts;
}

}  // namespace

Result<CycleRange> CyclesOf(const TraceSource& trace) {
  if (trace.Size() == 0) {
    return NoRecords(trace);
  }
  const auto columns = std::make_unique<Columns>();
  if (Result<uint64_t> next = trace.Decode(0, trace.Size(), *columns); !next) {
    return next.Why();
  }
  CycleRange range = {columns->cycle[0], columns->cycle[0]};
  uint64_t from = 0;
  if (trace.Size() > TAIL) {
    Result<std::optional<uint64_t>> found = Resynchronise(trace, trace.Size() - TAIL);
    if (!found) {
      return found.Why();
    }
    from = found->value_or(0);
  }
  if (Fault fault = TakeTail(trace, from, *columns, range)) {
    return fault;
  }
  return range;
}

Result<RunCounts> CountRun(const TraceSource& trace, const Index* index,
                           const RunQuestion& question, const ProgressCallback& progress) {
  Result<RunCounts> counts = Count(trace, index, question, progress);
  if (counts && index != nullptr && HoldsTrace(question.shape, index->GetSummary()) &&
      !AreOnArray(*counts)) {
    return index->Damaged("the trace has fires or transmissions where it knows none");
  }
  return counts;
}

}  // namespace marrowfin
