#include "trace/ask/Walk.h"

#include <algorithm>
#include <memory>

#include "trace/index/IndexBuilder.h"

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
Fault FaultAt(const TraceFile& trace, const Index& index, const Fault& found, uint64_t record) {
  const bool itself = found.kind == Fault::CHANGED || found.kind == Fault::SYSTEM;
  Fault fault = itself ? found : Contradiction(trace, index);
  fault.record = record;
  return fault;
}

Fault WalkFrom(const TraceFile& trace, const Index& index, const IndexEntry& entry, uint64_t first,
               uint64_t last, const BatchFunction& take, const ProgressCallback& progress = {}) {
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

bool HasSample(const TraceFile& trace, uint64_t offset, const IndexBoundary& boundary,
               Columns& columns) {
  const uint64_t limit = std::min(boundary.offset, offset + SAMPLED_RECORDS * LARGE_RECORD);
  const bool decoded = static_cast<bool>(trace.Decode(offset, limit, columns));
  const size_t sampled = std::min<size_t>(columns.size, SAMPLED_RECORDS);
  return decoded && SampleRecords(columns, 0, sampled, 0) == boundary.sample;
}

// Some of the segments, the last one always.
bool HasSamples(const TraceFile& trace, const Index& index) {
  constexpr size_t COMPARED = 64;
  const auto boundaries = index.Boundaries();
  const size_t step = boundaries.size() / COMPARED + 1;
  auto columns = std::make_unique<Columns>();
  for (size_t b = boundaries.size(); b > 0; b -= std::min(b, step)) {
    const uint64_t offset = b == 1 ? 0 : boundaries[b - 2].offset;
    if (!HasSample(trace, offset, boundaries[b - 1], *columns)) {
      return false;
    }
  }
  return true;
}

// Decodes the records from an entry to the end of what was indexed.
bool AddRest(const TraceFile& trace, const Index& index, const IndexEntry& entry,
             Summarizer& rest) {
  const Summary& summary = index.GetSummary();
  auto columns = std::make_unique<Columns>();
  bool decoded = true;
  for (uint64_t offset = entry.offset; offset < summary.bytes && decoded;) {
    const Result<uint64_t> next = trace.Decode(offset, summary.bytes, *columns);
    decoded = static_cast<bool>(next);
    if (decoded) {
      rest.Add(*columns);
      offset = *next;
    }
  }
  rest.Finish();
  return decoded;
}

bool HasEnd(const TraceFile& trace, const Index& index) {
  const Summary& summary = index.GetSummary();
  const IndexEntry& last = index.Entries().back();
  Summarizer rest;
  const bool decoded = AddRest(trace, index, last, rest);
  const Summary& found = rest.Get();
  return decoded && last.record + found.records == summary.records &&
         last.cycle == found.firstCycle && last.changes + found.changes == summary.changes &&
         found.lastCycle == summary.lastCycle;
}

// A trace too short for a segment is compared as a whole.
bool AddsUp(const TraceFile& trace, const Index& index) {
  const Summary& summary = index.GetSummary();
  Summarizer all;
  const bool decoded = AddRest(trace, index, index.Entries().front(), all);
  const Summary& found = all.Get();
  return decoded && found.fires == summary.fires && found.sends == summary.sends &&
         found.changes == summary.changes && found.fired == summary.fired &&
         found.sent == summary.sent && found.switchPlaces == summary.switchPlaces &&
         found.threads == summary.threads;
}

bool HasSameRecords(const TraceFile& trace, const Index& index) {
  constexpr uint64_t SHORT = 65536;
  if (index.Entries().empty()) {
    return true;
  }
  const bool isShort = index.Boundaries().empty() && index.GetSummary().records <= SHORT;
  return HasSamples(trace, index) && HasEnd(trace, index) && (!isShort || AddsUp(trace, index));
}

}  // namespace

Fault Walk(const TraceFile& trace, const Index& index, uint64_t first, uint64_t last,
           const BatchFunction& take, const ProgressCallback& progress) {
  if (index.Entries().empty() || first >= last) {
    return {};
  }
  const IndexEntry& entry =
      LastEntry(index, [&](const IndexEntry& e) { return e.record <= first; });
  return WalkFrom(trace, index, entry, first, last, take, progress);
}

Result<IndexEntry> Locate(const TraceFile& trace, const Index& index, uint64_t record) {
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

Result<uint64_t> FindChange(const TraceFile& trace, const Index& index, uint64_t changes) {
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

Result<uint64_t> FindCycle(const TraceFile& trace, const Index& index, uint64_t cycle,
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

Result<ViewerSteps> FindSteps(const TraceFile& trace, const Index& index, uint64_t skipTo,
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

Result<uint64_t> FindStepEnd(const TraceFile& trace, const Index& index, const ViewerSteps& steps,
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

Fault CheckStillIndexed(const TraceFile& trace, const Index& index) {
  if (trace.IsUntouched()) {
    return {};
  }
  if (Fault fault = trace.CheckUnchanged()) {
    return fault;
  }
  if (HasSameRecords(trace, index)) {
    return {};
  }
  Fault fault = trace.Changed(0);
  fault.reason = "the file was written anew while it was read";
  return fault;
}

Fault Settle(const TraceFile& trace, const Index& index, const Fault& found) {
  if (found.kind == Fault::CHANGED || found.kind == Fault::CANCELLED) {
    return found;
  }
  Fault change = CheckStillIndexed(trace, index);
  return change ? change : found;
}

Fault Contradiction(const TraceFile& trace, const Index& index) {
  if (Fault change = CheckStillIndexed(trace, index)) {
    return change;
  }
  Fault fault;
  fault.kind = Fault::DAMAGED_INPUT;
  fault.file = index.FileName();
  fault.reason = "the index contradicts its trace";
  fault.remedy = "remove it, it is built again";
  return fault;
}

}  // namespace marrowfin
