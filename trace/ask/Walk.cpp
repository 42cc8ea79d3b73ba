#include "trace/ask/Walk.h"

#include <algorithm>
#include <memory>

#include "trace/index/SameTrace.h"

namespace marrowfin {

namespace {

// Where a walk may begin: at an entry of the sparse table or at a boundary.
struct Start {
  uint64_t record = 0;
  uint64_t offset = 0;   // its first byte
  uint64_t counted = 0;  // the records whose changes are known
  uint64_t cycle = 0;    // of the last of these
  uint64_t changes = 0;  // up to it
};

Start StartAt(const IndexEntry& entry) {
  return {entry.record, entry.offset, entry.record + 1, entry.cycle, entry.changes};
}

Start StartAt(const IndexBoundary& boundary) {
  return {boundary.record, boundary.offset, boundary.record, boundary.lastCycle, boundary.changes};
}

template <class Rows, class IsBefore>
Start LastOf(const Rows& rows, IsBefore isBefore) {
  const auto above = std::partition_point(rows.begin(), rows.end(),
                                          [&](const auto& row) { return isBefore(StartAt(row)); });
  return above == rows.begin() ? Start() : StartAt(*(above - 1));
}

// The last start of which `isBefore` is true; the first entry where it is true of none. Boundaries
// count as well: of a packed trace, all of the block before one would be unpacked for the sake of
// an entry that is nearest to what is behind it.
template <class IsBefore>
Start LastStart(const Index& index, IsBefore isBefore) {
  const auto entries = index.Entries();
  const Start entry = LastOf(entries, isBefore);
  const Start boundary = LastOf(index.Boundaries(), isBefore);
  if (boundary.record > entry.record) {
    return boundary;
  }
  return entry.counted > 0 ? entry : StartAt(entries.front());
}

// Where the trace is not what the index says, what stands there does not matter.
Fault FaultAt(const TraceSource& trace, const Index& index, const Fault& found, uint64_t record) {
  const bool itself = found.kind == Fault::CHANGED || found.kind == Fault::SYSTEM;
  Fault fault = itself ? found : Contradiction(trace, index);
  fault.record = record;
  return fault;
}

Fault WalkFrom(const TraceSource& trace, const Index& index, const Start& start, uint64_t first,
               uint64_t last, const BatchFunction& take, const ProgressCallback& progress = {}) {
  auto columns = std::make_unique<Columns>();
  uint64_t record = start.record;
  uint64_t offset = start.offset;
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
  const Start start = LastStart(index, [&](const Start& s) { return s.record <= first; });
  return WalkFrom(trace, index, start, first, last, take, progress);
}

Result<IndexEntry> Locate(const TraceSource& trace, const Index& index, uint64_t record) {
  const Start start = LastStart(index, [&](const Start& s) { return s.record <= record; });
  IndexEntry located = {start.record, start.offset, start.cycle, start.changes};
  Fault fault = WalkFrom(trace, index, start, start.counted, record + 1,
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

Result<Preceding> FindPreceding(const TraceSource& trace, const Index& index, uint64_t record) {
  if (record == 0) {
    return Preceding();
  }
  const Start start = LastStart(index, [&](const Start& s) { return s.counted <= record; });
  Preceding found = {start.cycle, start.changes};
  Fault fault = start.counted == record
                    ? Fault()
                    : WalkFrom(trace, index, start, start.counted, record,
                               [&](const Columns& columns, size_t from, size_t to) {
                                 for (size_t i = from; i < to; ++i) {
                                   found.changes += columns.cycle[i] != found.cycle;
                                   found.cycle = columns.cycle[i];
                                 }
                                 return true;
                               });
  if (fault) {
    return fault;
  }
  return found;
}

Result<uint64_t> FindChange(const TraceSource& trace, const Index& index, uint64_t changes) {
  uint64_t record = index.GetSummary().records;
  if (changes > index.GetSummary().changes || index.Entries().empty()) {
    return record;
  }
  if (changes == 0) {
    return uint64_t{0};
  }
  const Start start = LastStart(index, [&](const Start& s) { return s.changes < changes; });
  uint64_t seen = start.changes;
  uint64_t cycle = start.cycle;
  Fault fault = WalkFrom(trace, index, start, start.counted, record,
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
  const Start start = LastStart(index, [&](const Start& s) {
    const bool rising = summary.Ordered() || s.record < summary.firstFall;
    return rising && s.cycle < cycle;
  });
  Fault fault = WalkFrom(
      trace, index, start, start.record, record,
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
