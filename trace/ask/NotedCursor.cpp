#include "trace/ask/NotedCursor.h"

#include <algorithm>
#include <utility>

#include "trace/ask/NoteMarks.h"
#include "trace/ask/Walk.h"

namespace marrowfin {

NotedCursor::NotedCursor(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
                         const NotedFilter& filter, ProgressCallback progress)
    : trace(trace),
      index(index),
      notes(notes),
      filter(filter),
      progress(std::move(progress)),
      spans(notes, this->filter.notes) {}

void NotedCursor::Seek(uint64_t record) {
  next = range ? std::clamp(record, range->begin, range->end) : record;
  if (fault.kind == Fault::CANCELLED) {
    fault = Fault();
    readBefore = RecordsRead();
    batches.reset();
  }
}

bool NotedCursor::Prepare() {
  told = 0;
  for (size_t i = 0; i < filter.notes.size() && !fault; ++i) {
    fault = CheckNoteCondition(filter.notes[i], notes.Declarations(), notes.File().Name());
  }
  if (!range && !fault) {
    const Result<RecordRange> found = RangeOf(trace, index, filter.events, progress);
    if (found) {
      range = *found;
      within = WithinRange(index, filter.events, *range);
      next = std::clamp(next, range->begin, range->end);
    } else {
      fault = found.Why();
    }
  }
  return !fault;
}

// Goes through records that may match from now on.
void NotedCursor::Open(const RecordRange& found) {
  readBefore = RecordsRead();
  span = found;
  within.firstRecord = span.begin;
  within.lastRecord = span.end;
  const auto tell = [this](const Progress& part) { return Tell(done + part.done); };
  batches = std::make_unique<BatchCursor>(trace, index, within,
                                          progress ? ProgressCallback(tell) : nullptr);
}

bool NotedCursor::Tell(uint64_t of) {
  told = of;
  return !progress || progress({of, all, Progress::RECORDS});
}

// Keeps those records of a batch whose notes match; whether there are any.
bool NotedCursor::Take(Selection& found) {
  if (filter.notes.empty()) {
    return true;
  }
  const std::span<uint8_t> marked = std::span(marks).first(found.Size());
  fault = MarkNoted(notes, filter.notes, found, marked);
  if (fault) {
    return false;
  }
  size_t count = 0;
  for (size_t i = 0; i < marked.size(); ++i) {
    rows[count] = found.rows[i];
    count += marked[i];
  }
  found.rows = std::span<const uint16_t>(rows).first(count);
  return count > 0;
}

// The end of a search that found nothing more.
bool NotedCursor::End() {
  if (!fault && told < all && !Tell(all)) {
    fault = CancelledFault(trace.Name());
  }
  fault = Settle(trace, index, fault);
  return false;
}

bool NotedCursor::Next(Selection& found) {
  if (!Prepare()) {
    return false;
  }
  all = range->end - range->begin;
  const bool hadSome = next < range->end;
  while (next < range->end && !fault) {
    if (batches == nullptr || next < span.begin || next >= span.end) {
      Open(spans.From(next, range->end));
      next = span.begin;
    }
    batches->Seek(next);
    done = span.begin - range->begin;
    while (!fault && batches->Next(found)) {
      next = found.end;
      if (Take(found)) {
        return true;
      }
    }
    fault = fault ? fault : batches->GetFault();
    next = fault ? next : span.end;
  }
  all = hadSome ? all : 0;
  return End();
}

bool NotedCursor::Previous(Selection& found) {
  if (!Prepare()) {
    return false;
  }
  const uint64_t start = next;
  all = start - range->begin;
  while (next > range->begin && !fault) {
    if (batches == nullptr || next <= span.begin || next > span.end) {
      Open(spans.Before(next, range->begin));
      next = span.end;
    }
    batches->Seek(next);
    done = start - next;
    while (!fault && batches->Previous(found)) {
      next = found.begin;
      if (Take(found)) {
        return true;
      }
      done = start - next;
    }
    fault = fault ? fault : batches->GetFault();
    next = fault ? next : span.begin;
  }
  return End();
}

}  // namespace marrowfin
