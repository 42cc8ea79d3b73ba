#include "trace/ask/EventCounter.h"

#include <algorithm>
#include <bit>

#include "trace/ask/Walk.h"

namespace marrowfin {

EventCounter::EventCounter(const TraceSource& trace, const Index& index, const EventFilter& filter)
    : trace(trace), index(index), filter(filter) {}

uint64_t EventCounter::RecordOf(size_t boundary) const {
  return boundary == 0 ? 0 : index.Boundaries()[boundary - 1].record;
}

// The last boundary at or before a record.
size_t EventCounter::BoundaryAt(uint64_t record) const {
  const auto boundaries = index.Boundaries();
  return static_cast<size_t>(
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= record; }) -
      boundaries.begin());
}

// Finds the range, and out whether the index tells the counts: then it tells those up to any
// boundary, since a region that only sends has always only sent.
Fault EventCounter::Prepare() {
  if (range) {
    return {};
  }
  const Result<RecordRange> records = RangeOf(trace, index, filter);
  if (!records) {
    return records.Why();
  }
  within = WithinRange(index, filter, *records);
  spans = std::make_unique<QuietSpans>(index, within);
  if (index.HasBoundaries()) {
    const Result<CountBounds> all = spans->Between(0, index.Boundaries().size());
    if (!all) {
      return all.Why();
    }
    told = all->Exact();
  }
  reached = records->begin;
  if (told) {
    const Result<uint64_t> before = CountTold(records->begin);
    if (!before) {
      return before.Why();
    }
    skipped = *before;
  }
  range = *records;
  return {};
}

Result<bool> EventCounter::IsTold() {
  const Fault fault = Prepare();
  return fault ? Result<bool>(fault) : told;
}

Result<CountBounds> EventCounter::Estimate() {
  if (Fault fault = Prepare()) {
    return fault;
  }
  if (told) {
    const Result<uint64_t> all = Count();
    return all ? Result<CountBounds>(CountBounds{*all, *all}) : all.Why();
  }
  const uint64_t left = range->end - reached;
  if (!index.HasBoundaries()) {
    return CountBounds{found, found + left};
  }
  // From the first boundary in what is not read yet to the last one; the ends may hold anything.
  const size_t first = BoundaryAt(reached) + (RecordOf(BoundaryAt(reached)) < reached ? 1 : 0);
  const size_t last = BoundaryAt(range->end);
  if (first > last) {
    return CountBounds{found, found + left};
  }
  const Result<CountBounds> inside = spans->Between(first, last);
  if (!inside) {
    return inside.Why();
  }
  const uint64_t outside = left - (RecordOf(last) - RecordOf(first));
  return CountBounds{found + inside->least, found + std::min(left, inside->most + outside)};
}

Result<uint64_t> EventCounter::Count(const ProgressCallback& progress) {
  return CountBefore(~uint64_t{0}, progress);
}

Result<uint64_t> EventCounter::CountBefore(uint64_t record, const ProgressCallback& progress) {
  Fault fault = Prepare();
  if (fault) {
    return fault;
  }
  record = std::clamp(record, range->begin, range->end);
  const Result<uint64_t> count = told ? CountTold(record) : CountRead(record, progress);
  fault = Settle(trace, index, count.Why());
  if (!fault && *count < skipped) {
    fault = Contradiction(trace, index);
  }
  return fault ? Result<uint64_t>(fault) : *count - skipped;
}

// From the start of the trace: what the index knows up to a boundary, and what is read behind it.
Result<uint64_t> EventCounter::CountTold(uint64_t record) {
  const size_t b = BoundaryAt(record);
  const Result<CountBounds> known = spans->Between(0, b);
  if (!known) {
    return known.Why();
  }
  const Result<uint64_t> rest = CountBetween(RecordOf(b), record);
  return rest ? Result<uint64_t>(known->most + *rest) : rest.Why();
}

// From the start of the range: what was found before a boundary, and what is read behind it.
Result<uint64_t> EventCounter::CountRead(uint64_t record, const ProgressCallback& progress) {
  if (Fault fault = ReadUpTo(record, progress)) {
    return fault;
  }
  if (record == reached) {
    return found;
  }
  const size_t first = BoundaryAt(range->begin);
  const size_t b = BoundaryAt(record);
  const uint64_t from = std::max(RecordOf(b), range->begin);
  const Result<uint64_t> rest = CountBetween(from, record);
  return rest ? Result<uint64_t>((b > first ? foundBefore[b - first - 1] : 0) + *rest) : rest.Why();
}

// Goes on where the reading was stopped, to the first boundary behind a record.
Fault EventCounter::ReadUpTo(uint64_t record, const ProgressCallback& progress) {
  if (record <= reached) {
    return {};
  }
  const size_t last = BoundaryAt(record) + 1;
  const uint64_t end =
      last <= index.Boundaries().size() ? std::min(range->end, RecordOf(last)) : range->end;
  EventFilter left = within;
  left.firstRecord = reached;
  left.lastRecord = end;
  const uint64_t done = reached - range->begin;
  const auto tell = [&](const Progress& part) {
    return progress({done + part.done, range->end - range->begin, Progress::RECORDS});
  };
  const size_t first = BoundaryAt(range->begin);
  // What lies before a boundary is known once it is reached.
  const auto reach = [&](uint64_t to) {
    reached = to;
    while (first + foundBefore.size() < index.Boundaries().size() &&
           RecordOf(first + foundBefore.size() + 1) <= to) {
      foundBefore.push_back(found);
    }
  };
  BatchCursor cursor(trace, index, left, progress ? ProgressCallback(tell) : nullptr);
  Selection batch;
  while (cursor.Next(batch)) {
    // No batch lies on both sides of a boundary.
    reach(batch.begin);
    found += batch.Size();
    reach(batch.end);
  }
  if (!cursor.GetFault()) {
    reach(end);
  }
  return cursor.GetFault();
}

// How many match among some records, not many.
Result<uint64_t> EventCounter::CountBetween(uint64_t from, uint64_t to) {
  EventFilter part = within;
  part.firstRecord = from;
  part.lastRecord = to;
  BatchCursor cursor(trace, index, part);
  Selection batch;
  uint64_t count = 0;
  while (cursor.Next(batch)) {
    count += batch.Size();
  }
  return cursor.GetFault() ? Result<uint64_t>(cursor.GetFault()) : count;
}

Result<uint64_t> EventCounter::FindBetween(uint64_t from, uint64_t to, uint64_t n) {
  EventFilter part = within;
  part.firstRecord = from;
  part.lastRecord = to;
  BatchCursor cursor(trace, index, part);
  Selection batch;
  while (cursor.Next(batch)) {
    if (n < batch.Size()) {
      return batch.Record(static_cast<size_t>(n));
    }
    n -= batch.Size();
  }
  // As many were counted there before.
  return cursor.GetFault() ? cursor.GetFault() : Contradiction(trace, index);
}

// The last boundary before which there are no more than n events that match, counted as the counts
// are. The nodes of the index are sums of spans whose lengths are powers of two, one for each step.
Result<EventCounter::Mark> EventCounter::LastMarkBefore(uint64_t n) {
  Mark mark;
  if (!told) {
    const auto above = std::upper_bound(foundBefore.begin(), foundBefore.end(), n);
    mark.boundary = BoundaryAt(range->begin) + static_cast<size_t>(above - foundBefore.begin());
    mark.before = above == foundBefore.begin() ? 0 : *(above - 1);
    return mark;
  }
  const size_t last = index.Boundaries().size();
  for (size_t span = std::bit_floor(last); span > 0; span /= 2) {
    if (mark.boundary + span > last) {
      continue;
    }
    const Result<CountBounds> part = spans->Between(mark.boundary, mark.boundary + span);
    if (!part) {
      return part.Why();
    }
    if (part->most <= n - mark.before) {
      mark.boundary += span;
      mark.before += part->most;
    }
  }
  return mark;
}

Fault EventCounter::TooFew(uint64_t n) const {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = trace.Name();
  fault.reason = "no more than " + std::to_string(n) + " events match";
  return fault;
}

Result<uint64_t> EventCounter::Find(uint64_t n, const ProgressCallback& progress) {
  const Result<uint64_t> all = Count(progress);
  if (!all) {
    return all.Why();
  }
  if (n >= *all) {
    return TooFew(*all);
  }
  const Result<Mark> mark = LastMarkBefore(n + skipped);
  if (!mark) {
    return mark.Why();
  }
  const Result<uint64_t> record = FindBetween(
      told ? RecordOf(mark->boundary) : std::max(RecordOf(mark->boundary), range->begin),
      range->end, n + skipped - mark->before);
  const Fault fault = Settle(trace, index, record.Why());
  return fault ? Result<uint64_t>(fault) : *record;
}

}  // namespace marrowfin
