#include "trace/ask/BatchCursor.h"

#include <algorithm>

#include "trace/ask/Walk.h"

namespace marrowfin {

namespace {

// The last boundary at or before a record, counted from 1; 0 for the start of the trace.
size_t BoundaryAt(const Index& index, uint64_t record) {
  const auto boundaries = index.Boundaries();
  return static_cast<size_t>(
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= record; }) -
      boundaries.begin());
}

}  // namespace

BatchCursor::BatchCursor(const TraceSource& trace, const Index& index, const EventFilter& filter,
                         ProgressCallback progress)
    : trace(trace),
      index(index),
      filter(filter),
      progress(std::move(progress)),
      quiet(index, filter),
      selector(filter),
      columns(std::make_unique<Columns>()) {}

void BatchCursor::Seek(uint64_t record) {
  next = range ? std::clamp(record, range->begin, range->end) : record;
  if (fault.kind == Fault::CANCELLED) {
    fault = Fault();
  }
}

bool BatchCursor::Narrow() {
  if (!range && !fault) {
    const Result<RecordRange> found = RangeOf(trace, index, filter, progress);
    if (!found) {
      fault = found.Why();
      return false;
    }
    if (!filter.without.empty()) {
      const Result<EventFilter> said = WithoutByRecords(trace, index, filter, progress);
      if (!said) {
        fault = said.Why();
        return false;
      }
      selector = Selector(*said);
    }
    range = *found;
    next = std::clamp(next, range->begin, range->end);
  }
  return !fault;
}

uint64_t BatchCursor::PassOver(uint64_t record) {
  const auto reached = [&](uint64_t at) {
    return Report(at - range->begin, range->end - range->begin);
  };
  const Result<uint64_t> passed = quiet.PassOver(record, range->end, reached);
  if (!passed) {
    fault = passed.Why();
  }
  return passed ? *passed : record;
}

uint64_t BatchCursor::PassBack(uint64_t record, uint64_t from) {
  const auto reached = [&](uint64_t at) { return Report(from - at, from - range->begin); };
  const Result<uint64_t> passed = quiet.PassBack(record, range->begin, reached);
  if (!passed) {
    fault = passed.Why();
  }
  return passed ? *passed : record;
}

bool BatchCursor::Holds(uint64_t record) const {
  return record >= columns->firstRecord && record < columns->firstRecord + columns->size;
}

BatchCursor::Spot BatchCursor::Behind() const {
  return {columns->firstRecord + columns->size, columns->firstOffset + columns->Bytes()};
}

// The last place at or before a record that the index knows.
BatchCursor::Spot BatchCursor::SpotBefore(uint64_t record) const {
  const auto entries = index.Entries();
  const auto above =
      std::partition_point(entries.begin(), entries.end(),
                           [&](const IndexEntry& entry) { return entry.record <= record; });
  const IndexEntry& entry = above == entries.begin() ? entries.front() : *(above - 1);
  const size_t b = BoundaryAt(index, record);
  if (b > 0 && index.Boundaries()[b - 1].record > entry.record) {
    return {index.Boundaries()[b - 1].record, index.Boundaries()[b - 1].offset};
  }
  return {entry.record, entry.offset};
}

// Decodes the batch that begins at a place. It ends at the next boundary at the latest, so that
// what follows can be passed over from there.
bool BatchCursor::Decode(Spot spot) {
  const size_t b = BoundaryAt(index, spot.record);
  const bool bounded = b < index.Boundaries().size();
  const IndexBoundary* boundary = bounded ? &index.Boundaries()[b] : nullptr;
  const uint64_t limit = bounded ? boundary->offset : index.GetSummary().bytes;
  columns->firstRecord = spot.record;
  const Result<uint64_t> decoded = trace.Decode(spot.offset, limit, *columns);
  recordsRead += columns->size;
  const Spot behind = Behind();
  const bool agrees = !bounded || (behind.record <= boundary->record &&
                                   (behind.record == boundary->record) == (behind.offset == limit));
  if (!decoded || !agrees) {
    const Fault found = decoded.Why();
    const bool itself = found.kind == Fault::CHANGED || found.kind == Fault::SYSTEM;
    fault = itself ? found : Contradiction(trace, index);
    fault.record = spot.record;
    columns->Clear();
  }
  return !fault;
}

// Decodes the batch that holds a record, from where the last one ended if that is near.
bool BatchCursor::Load(uint64_t record) {
  const Spot known = SpotBefore(record);
  const Spot behind = Behind();
  const bool goesOn = behind.record <= record && behind.record >= known.record;
  if (!Decode(goesOn ? behind : known)) {
    return false;
  }
  while (!Holds(record)) {
    if (!Decode(Behind())) {
      return false;
    }
  }
  return true;
}

// The same where those before it are wanted next.
bool BatchCursor::LoadBack(uint64_t record) {
  if (!spots.empty() && record >= spots.front().record && record < spotsEnd) {
    const auto above = std::partition_point(
        spots.begin(), spots.end(), [&](const Spot& spot) { return spot.record <= record; });
    return Decode(*(above - 1));
  }
  spots.clear();
  for (Spot spot = SpotBefore(record); Decode(spot); spot = Behind()) {
    spots.push_back(spot);
    spotsEnd = Behind().record;
    if (Holds(record)) {
      return true;
    }
  }
  return false;
}

// Tells those of the records `from` up to `to` of the batch that match, if any; with a fault where
// they are of no trace that was indexed.
bool BatchCursor::Take(uint64_t from, uint64_t to, Selection& found) {
  const uint64_t first = columns->firstRecord;
  found = {
      columns.get(),
      selector.Select(*columns, static_cast<size_t>(from - first), static_cast<size_t>(to - first)),
      from, to};
  if (!found.rows.empty()) {
    fault = CheckStillIndexed(trace, index);
  }
  return !found.rows.empty() && !fault;
}

bool BatchCursor::Report(uint64_t done, uint64_t all) {
  if (progress && !progress({done, all, Progress::RECORDS})) {
    fault = CancelledFault(trace.Name());
  }
  return !fault;
}

// The end of a search that found nothing more.
bool BatchCursor::End() {
  fault = Settle(trace, index, fault);
  return false;
}

bool BatchCursor::Next(Selection& found) {
  if (!Narrow()) {
    return false;
  }
  const uint64_t all = range->end - range->begin;
  const bool hadSome = next < range->end;
  while (next < range->end && !fault) {
    if (!Holds(next)) {
      next = PassOver(next);
      if (next >= range->end || fault || !Load(next) || !Report(next - range->begin, all)) {
        break;
      }
    }
    const uint64_t from = next;
    next = std::min(range->end, columns->firstRecord + columns->size);
    if (Take(from, next, found)) {
      return true;
    }
  }
  if (hadSome && !fault) {
    Report(all, all);
  }
  return End();
}

bool BatchCursor::Previous(Selection& found) {
  if (!Narrow()) {
    return false;
  }
  const uint64_t start = next;
  const uint64_t all = start - range->begin;
  while (next > range->begin && !fault) {
    if (!Holds(next - 1)) {
      next = PassBack(next, start);
      if (next == range->begin || fault || !LoadBack(next - 1) || !Report(start - next, all)) {
        break;
      }
    }
    const uint64_t to = next;
    next = std::max(range->begin, columns->firstRecord);
    if (Take(next, to, found)) {
      return true;
    }
  }
  if (all > 0 && !fault) {
    Report(all, all);
  }
  return End();
}

}  // namespace marrowfin
