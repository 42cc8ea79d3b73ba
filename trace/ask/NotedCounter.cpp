#include "trace/ask/NotedCounter.h"

#include <algorithm>

#include "trace/ask/Walk.h"

namespace marrowfin {

NotedCounter::NotedCounter(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
                           const NotedFilter& filter)
    : trace(trace),
      index(index),
      notes(notes),
      filter(filter),
      plain(trace, index, filter.events) {}

Fault NotedCounter::Prepare() {
  if (range) {
    return {};
  }
  const Result<RecordRange> records = RangeOf(trace, index, filter.events);
  if (!records) {
    return records.Why();
  }
  range = *records;
  within = WithinRange(index, filter.events, *range);
  Reach(range->begin);
  return {};
}

NotedFilter NotedCounter::Part(uint64_t from, uint64_t to) const {
  NotedFilter part = {within, filter.notes};
  part.events.firstRecord = from;
  part.events.lastRecord = to;
  return part;
}

// What lies before a mark is known once it is reached.
void NotedCounter::Reach(uint64_t record) {
  reached = record;
  while (range->begin + foundBefore.size() * STRIDE <= record) {
    foundBefore.push_back(found);
  }
}

// Goes on where the reading was stopped, up to the first mark at or behind a record.
Fault NotedCounter::ReadUpTo(uint64_t record, const ProgressCallback& progress) {
  const uint64_t marks = (record - range->begin + STRIDE - 1) / STRIDE;
  const uint64_t end = std::min(range->end, range->begin + marks * STRIDE);
  if (end <= reached) {
    return {};
  }
  const uint64_t before = reached - range->begin;
  const auto tell = [&](const Progress& part) {
    return progress({before + part.done, range->end - range->begin, Progress::RECORDS});
  };
  NotedCursor cursor(trace, index, notes, Part(reached, end),
                     progress ? ProgressCallback(tell) : nullptr);
  Selection batch;
  while (cursor.Next(batch)) {
    // A mark may lie within the batch.
    Reach(batch.begin);
    for (size_t i = 0; i < batch.Size(); ++i) {
      Reach(batch.Record(i));
      ++found;
    }
    Reach(batch.end);
  }
  if (!cursor.GetFault()) {
    Reach(end);
  }
  return cursor.GetFault();
}

Result<uint64_t> NotedCounter::CountBetween(uint64_t from, uint64_t to) {
  NotedCursor cursor(trace, index, notes, Part(from, to));
  Selection batch;
  uint64_t count = 0;
  while (cursor.Next(batch)) {
    count += batch.Size();
  }
  return cursor.GetFault() ? Result<uint64_t>(cursor.GetFault()) : count;
}

Result<uint64_t> NotedCounter::Count(const ProgressCallback& progress) {
  return CountBefore(~uint64_t{0}, progress);
}

Result<uint64_t> NotedCounter::CountBefore(uint64_t record, const ProgressCallback& progress) {
  if (filter.notes.empty()) {
    return plain.CountBefore(record, progress);
  }
  if (Fault fault = Prepare()) {
    return fault;
  }
  record = std::clamp(record, range->begin, range->end);
  if (Fault fault = ReadUpTo(record, progress)) {
    return fault;
  }
  if (record == reached) {
    return found;
  }
  const uint64_t mark = (record - range->begin) / STRIDE;
  const Result<uint64_t> rest = CountBetween(range->begin + mark * STRIDE, record);
  return rest ? Result<uint64_t>(foundBefore[static_cast<size_t>(mark)] + *rest) : rest.Why();
}

// The n-th record that matches from some record on, of which there are that many.
Result<uint64_t> NotedCounter::FindFrom(uint64_t record, uint64_t n) {
  NotedCursor cursor(trace, index, notes, Part(record, range->end));
  Selection batch;
  while (cursor.Next(batch)) {
    if (n < batch.Size()) {
      return batch.Record(static_cast<size_t>(n));
    }
    n -= batch.Size();
  }
  // A block was damaged meanwhile, or the trace changed.
  return cursor.GetFault() ? cursor.GetFault() : Contradiction(trace, index);
}

Result<uint64_t> NotedCounter::Find(uint64_t n, const ProgressCallback& progress) {
  if (filter.notes.empty()) {
    return plain.Find(n, progress);
  }
  const Result<uint64_t> count = Count(progress);
  if (!count) {
    return count.Why();
  }
  if (n >= *count) {
    Fault fault;
    fault.kind = Fault::OUT_OF_RANGE;
    fault.file = trace.Name();
    fault.reason = "no more than " + std::to_string(*count) + " events match";
    return fault;
  }
  const auto above = std::upper_bound(foundBefore.begin(), foundBefore.end(), n);
  const auto mark = static_cast<uint64_t>(above - foundBefore.begin()) - 1;
  return FindFrom(range->begin + mark * STRIDE, n - *(above - 1));
}

}  // namespace marrowfin
