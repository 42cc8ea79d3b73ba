#include "trace/ask/Walk.h"

#include <algorithm>
#include <memory>

#include "trace/index/SameTrace.h"

namespace marrowfin {

namespace {

// The last entry of which `isBefore` is true; the first entry where it is true of none.
template <class IsBefore>
const IndexEntry& LastEntry(const Index& index, IsBefore isBefore) {
  const auto entries = index.Entries();
  const auto found = std::partition_point(entries.begin(), entries.end(), isBefore);
  return found == entries.begin() ? entries.front() : *(found - 1);
}

// Where the trace is not what the index says, what stands there does not matter.
Fault FaultAt(const TraceSource& trace, const Index& index, const Fault& found, uint64_t record) {
  const bool itself = found.kind == Fault::CHANGED || found.kind == Fault::SYSTEM;
  Fault fault = itself ? found : Contradiction(trace, index);
  fault.record = record;
  return fault;
}

Fault WalkFrom(const TraceSource& trace, const Index& index, const IndexEntry& entry,
               uint64_t first, uint64_t last, const BatchFunction& take,
               const ProgressCallback& progress = {}) {
  auto columns = std::make_unique<Columns>();
  uint64_t record = entry.record;
  uint64_t offset = entry.offset;
  const uint64_t all = index.GetSummary().records;
  last = std::min(last, all);
  while (record < last) {
    columns->firstRecord = record;
    const Result<uint64_t> next = trace.Decode(offset, index.GetSummary().bytes, *columns);
    if (!next) {
      return FaultAt(trace, index, next.Why(), record);
    }
    offset = *next;
    const uint64_t end = std::min(record + columns->size, last);
    if (end > first && !take(*columns, static_cast<size_t>(std::max(first, record) - record),
                             static_cast<size_t>(end - record))) {
      return {};
    }
    record += columns->size;
    if (progress && !progress({end, all, Progress::RECORDS})) {
      return CancelledFault(trace.Name());
    }
  }
  return {};
}

}  // namespace

Fault Walk(const TraceSource& trace, const Index& index, uint64_t first, uint64_t last,
           const BatchFunction& take, const ProgressCallback& progress) {
  if (index.Entries().empty() || first >= last) {
    return {};
  }
  const IndexEntry& entry =
      LastEntry(index, [&](const IndexEntry& e) { return e.record <= first; });
  return WalkFrom(trace, index, entry, first, last, take, progress);
}

Result<IndexEntry> Locate(const TraceSource& trace, const Index& index, uint64_t record) {
  const IndexEntry& entry =
      LastEntry(index, [&](const IndexEntry& e) { return e.record <= record; });
  IndexEntry located = entry;
  Fault fault = WalkFrom(trace, index, entry, entry.record + 1, record + 1,
                         [&](const Columns& columns, size_t from, size_t to) {
                           for (size_t i = from; i < to; ++i) {
                             located.changes += columns.cycle[i] != located.cycle;
                             located.cycle = columns.cycle[i];
                           }
                           located.record = columns.firstRecord + to - 1;
                           located.offset = columns.firstOffset;
                           for (size_t i = 0; i + 1 < to; ++i) {
                             located.offset += RecordSize(columns.tag[i].type);
                           }
                           return true;
                         });
  if (fault) {
    return fault;
  }
  return located;
}

Result<uint64_t> FindChange(const TraceSource& trace, const Index& index, uint64_t changes) {
  uint64_t record = index.GetSummary().records;
  if (changes > index.GetSummary().changes || index.Entries().empty()) {
    return record;
  }
  if (changes == 0) {
    return uint64_t{0};
  }
  const IndexEntry& entry =
      LastEntry(index, [&](const IndexEntry& e) { return e.changes < changes; });
  uint64_t seen = entry.changes;
  uint64_t cycle = entry.cycle;
  Fault fault = WalkFrom(trace, index, entry, entry.record + 1, record,
                         [&](const Columns& columns, size_t from, size_t to) {
                           for (size_t i = from; i < to; ++i) {
                             seen += columns.cycle[i] != cycle;
                             cycle = columns.cycle[i];
                             if (seen == changes) {
                               record = columns.firstRecord + i;
                               return false;
                             }
                           }
                           return true;
                         });
  if (fault) {
    return fault;
  }
  return record;
}

Result<uint64_t> FindCycle(const TraceSource& trace, const Index& index, uint64_t cycle,
                           const ProgressCallback& progress) {
  const Summary& summary = index.GetSummary();
  uint64_t record = summary.records;
  if (index.Entries().empty() || cycle > summary.maxCycle) {
    return record;
  }
  const IndexEntry& entry = LastEntry(index, [&](const IndexEntry& e) {
    const bool rising = summary.Ordered() || e.record < summary.firstFall;
    return rising && e.cycle < cycle;
  });
  Fault fault = WalkFrom(
      trace, index, entry, entry.record, record,
      [&](const Columns& columns, size_t from, size_t to) {
        const uint64_t* begin = columns.cycle;
        const uint64_t* found =
            std::find_if(begin + from, begin + to, [&](uint64_t c) { return c >= cycle; });
        if (found == begin + to) {
          return true;
        }
        record = columns.firstRecord + static_cast<uint64_t>(found - begin);
        return false;
      },
      progress);
  if (fault) {
    return fault;
  }
  return record;
}

Result<ViewerSteps> FindSteps(const TraceSource& trace, const Index& index, uint64_t skipTo,
                              const ProgressCallback& progress) {
  const Summary& summary = index.GetSummary();
  const Result<uint64_t> reached = FindCycle(trace, index, skipTo, progress);
  if (!reached) {
    return reached.Why();
  }
  ViewerSteps steps;
  steps.start = std::min(*reached + 1, summary.records);
  if (steps.start == summary.records) {
    return steps;
  }
  const Result<IndexEntry> entry = Locate(trace, index, steps.start);
  if (!entry) {
    return entry.Why();
  }
  steps.changes = entry->changes;
  steps.early = entry->cycle != 0 ? 1 : 0;
  steps.count = steps.early + summary.changes - steps.changes;
  return steps;
}

Result<uint64_t> FindStepEnd(const TraceSource& trace, const Index& index, const ViewerSteps& steps,
                             uint64_t step) {
  const uint64_t records = index.GetSummary().records;
  if (step == 0) {
    return steps.start;
  }
  if (step > steps.count) {
    return records;
  }
  if (step <= steps.early) {
    return std::min(steps.start + 1, records);
  }
  const Result<uint64_t> change = FindChange(trace, index, steps.changes + step - steps.early);
  if (!change) {
    return change.Why();
  }
  return std::min(*change + 1, records);
}

Fault CheckStillIndexed(const TraceSource& trace, const Index& index) {
  return CheckStillIndexed(trace, index.Tables());
}

Fault Settle(const TraceSource& trace, const Index& index, const Fault& found) {
  if (found.kind == Fault::CHANGED || found.kind == Fault::CANCELLED) {
    return found;
  }
  Fault change = CheckStillIndexed(trace, index);
  return change ? change : found;
}

Fault Contradiction(const TraceSource& trace, const Index& index) {
  Fault change = CheckStillIndexed(trace, index);
  return change ? change : index.Damaged("the index contradicts its trace");
}

}  // namespace marrowfin
