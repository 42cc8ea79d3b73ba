#include "trace/ask/FilterRange.h"

#include <algorithm>

#include "trace/ask/Walk.h"

namespace marrowfin {

namespace {

void Intersect(RecordRange& range, const RecordRange& other) {
  range.begin = std::max(range.begin, other.begin);
  range.end = std::min(range.end, other.end);
}

Fault NarrowToCycles(const TraceSource& trace, const Index& index, const EventFilter& filter,
                     RecordRange& range) {
  const Result<uint64_t> begin = FindCycle(trace, index, filter.firstCycle);
  if (!begin) {
    return begin.Why();
  }
  const Result<uint64_t> end = filter.lastCycle == ~uint64_t{0}
                                   ? Result<uint64_t>(range.end)
                                   : FindCycle(trace, index, filter.lastCycle + 1);
  if (!end) {
    return end.Why();
  }
  Intersect(range, {*begin, *end});
  return {};
}

Fault NarrowToSteps(const TraceSource& trace, const Index& index, const EventFilter& filter,
                    const ProgressCallback& progress, RecordRange& range) {
  const Result<ViewerSteps> steps = FindSteps(trace, index, filter.skipTo, progress);
  if (!steps) {
    return steps.Why();
  }
  const Result<uint64_t> begin = filter.firstStep == 0
                                     ? Result<uint64_t>(0)
                                     : FindStepEnd(trace, index, *steps, filter.firstStep - 1);
  if (!begin) {
    return begin.Why();
  }
  const Result<uint64_t> end = FindStepEnd(trace, index, *steps, filter.lastStep);
  if (!end) {
    return end.Why();
  }
  Intersect(range, {*begin, *end});
  return {};
}

// Whether the trace has, or may have, events of a thread that is asked for.
bool MayHaveThreads(const Summary& summary, const EventFilter& filter) {
  if (filter.HasEveryThread() || summary.otherThreads > 0) {
    return true;
  }
  const auto& threads = summary.threads;
  return std::any_of(threads.begin(), threads.end(),
                     [&](const auto& thread) { return filter.HasThread(thread.first); });
}

}  // namespace

Result<RecordRange> RangeOf(const TraceSource& trace, const Index& index, const EventFilter& filter,
                            const ProgressCallback& progress) {
  const Summary& summary = index.GetSummary();
  RecordRange range = {filter.firstRecord, std::min(filter.lastRecord, summary.records)};
  if (!MayHaveThreads(summary, filter)) {
    range.end = 0;
  }
  Fault fault;
  if (summary.Ordered() && !filter.HasEveryCycle() && range.begin < range.end) {
    fault = NarrowToCycles(trace, index, filter, range);
  }
  const bool everyStep = filter.firstStep == 0 && filter.lastStep == ~uint64_t{0};
  if (!fault && !everyStep && range.begin < range.end) {
    // Nothing of the range is gone through yet.
    const uint64_t all = range.end - range.begin;
    const auto ask = [&](const Progress&) { return progress({0, all, Progress::RECORDS}); };
    fault = NarrowToSteps(trace, index, filter, progress ? ProgressCallback(ask) : nullptr, range);
  }
  if (fault) {
    return Settle(trace, index, fault);
  }
  range.begin = std::min(range.begin, summary.records);
  range.end = std::max(range.begin, range.end);
  return range;
}

Result<bool> ReachesBehindEnd(const TraceSource& trace, const Index& index,
                              const EventFilter& filter, const ProgressCallback& progress) {
  const uint64_t records = index.GetSummary().records;
  if (filter.lastRecord <= records) {
    return false;
  }
  EventFilter anyThread = filter;
  anyThread.thread.reset();
  anyThread.threads.clear();
  const Result<RecordRange> range = RangeOf(trace, index, anyThread, progress);
  return range ? Result<bool>(range->end == records) : Result<bool>(range.Why());
}

EventFilter WithinRange(const Index& index, const EventFilter& filter, const RecordRange& range) {
  EventFilter within = filter;
  within.firstRecord = range.begin;
  within.lastRecord = range.end;
  within.firstStep = 0;
  within.lastStep = ~uint64_t{0};
  if (index.GetSummary().Ordered()) {
    within.firstCycle = 0;
    within.lastCycle = ~uint64_t{0};
  }
  return within;
}

Result<EventFilter> WithoutByRecords(const TraceSource& trace, const Index& index,
                                     const EventFilter& filter, const ProgressCallback& progress) {
  EventFilter said = filter;
  for (EventFilter& other : said.without) {
    const Result<RecordRange> range = RangeOf(trace, index, other, progress);
    if (!range) {
      return range.Why();
    }
    const Result<EventFilter> inner = WithoutByRecords(trace, index, other, progress);
    if (!inner) {
      return inner.Why();
    }
    other = WithinRange(index, *inner, *range);
  }
  return said;
}

}  // namespace marrowfin
