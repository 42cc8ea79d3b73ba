#include "trace/Walk.h"

#include <algorithm>
#include <memory>

namespace marrowfin {

namespace {

// The last entry of which `isBefore` is true; the first entry where it is true of none.
template <class IsBefore>
const IndexEntry& LastEntry(const Index& index, IsBefore isBefore) {
  const auto entries = index.Entries();
  const auto found = std::partition_point(entries.begin(), entries.end(), isBefore);
  return found == entries.begin() ? entries.front() : *(found - 1);
}

bool WalkFrom(const TraceFile& trace, const Index& index, const IndexEntry& entry, uint64_t first,
              uint64_t last, const BatchFunction& take, Fault& fault) {
  auto columns = std::make_unique<Columns>();
  uint64_t record = entry.record;
  uint64_t offset = entry.offset;
  last = std::min(last, index.GetSummary().records);
  while (record < last) {
    columns->firstRecord = record;
    offset = trace.Decode(offset, index.GetSummary().bytes, *columns, fault);
    if (fault) {
      fault.record = record;
      return false;
    }
    const uint64_t end = std::min(record + columns->size, last);
    if (end > first && !take(*columns, static_cast<size_t>(std::max(first, record) - record),
                             static_cast<size_t>(end - record))) {
      return true;
    }
    record += columns->size;
  }
  return true;
}

}  // namespace

bool Walk(const TraceFile& trace, const Index& index, uint64_t first, uint64_t last,
          const BatchFunction& take, Fault& fault) {
  if (index.Entries().empty() || first >= last) {
    return true;
  }
  const IndexEntry& entry =
      LastEntry(index, [&](const IndexEntry& e) { return e.record <= first; });
  return WalkFrom(trace, index, entry, first, last, take, fault);
}

bool Locate(const TraceFile& trace, const Index& index, uint64_t record, IndexEntry& located,
            Fault& fault) {
  const IndexEntry& entry =
      LastEntry(index, [&](const IndexEntry& e) { return e.record <= record; });
  located = entry;
  return WalkFrom(
      trace, index, entry, entry.record + 1, record + 1,
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
      },
      fault);
}

bool FindChange(const TraceFile& trace, const Index& index, uint64_t changes, uint64_t& record,
                Fault& fault) {
  record = index.GetSummary().records;
  if (changes > index.GetSummary().changes || index.Entries().empty()) {
    return true;
  }
  if (changes == 0) {
    record = 0;
    return true;
  }
  const IndexEntry& entry =
      LastEntry(index, [&](const IndexEntry& e) { return e.changes < changes; });
  uint64_t seen = entry.changes;
  uint64_t cycle = entry.cycle;
  return WalkFrom(
      trace, index, entry, entry.record + 1, record,
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
      },
      fault);
}

bool FindCycle(const TraceFile& trace, const Index& index, uint64_t cycle, uint64_t& record,
               Fault& fault) {
  const Summary& summary = index.GetSummary();
  record = summary.records;
  if (index.Entries().empty() || cycle > summary.maxCycle) {
    return true;
  }
  const IndexEntry& entry = LastEntry(index, [&](const IndexEntry& e) {
    const bool rising = summary.Ordered() || e.record < summary.firstFall;
    return rising && e.cycle < cycle;
  });
  return WalkFrom(
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
      fault);
}

}  // namespace marrowfin
