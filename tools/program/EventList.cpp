#include "tools/program/EventList.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tools/program/Interruption.h"
#include "tools/program/NotesInput.h"
#include "tools/program/ProgressLine.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventCounter.h"
#include "trace/ask/NotedCounter.h"

namespace marrowfin {

namespace {

// The line that tells how far a search is, and whether a signal asked it to stop.
class Watch {
 public:
  explicit Watch(const EventQuestion& question)
      : line(question.console.terminal, "searching " + question.trace.file->Name(), "M records",
             1e6) {}

  ProgressCallback Callback() {
    return [this](const Progress& now) {
      line.Update(now.done, now.all);
      return !interruption.Asked();
    };
  }

  void Hide() { line.Hide(); }

 private:
  const Interruption interruption;
  ProgressLine line;
};

// Where there are conditions on notes their index tells which of them need not be read.
Result<std::unique_ptr<JoinedNotes>> Join(const EventQuestion& question, Watch& watch) {
  return JoinNotes(question.trace, *question.notes,
                   question.filter.notes.empty() ? NotesIndexUse::NONE : NotesIndexUse::OPEN,
                   watch.Callback());
}

}  // namespace

Result<NotedAnswer<uint64_t>> CountEvents(const EventQuestion& question) {
  Watch watch(question);
  const TraceSource& trace = *question.trace.file;
  const Index& index = *question.trace.index;
  if (question.notes == nullptr) {
    const Result<uint64_t> count =
        EventCounter(trace, index, question.filter.events).Count(watch.Callback());
    return count ? Result<NotedAnswer<uint64_t>>({*count, {}}) : count.Why();
  }
  const Result<std::unique_ptr<JoinedNotes>> joined = Join(question, watch);
  if (!joined) {
    return joined.Why();
  }
  NotesOfTrace& notes = (*joined)->notes;
  const Result<uint64_t> count =
      NotedCounter(trace, index, notes, question.filter).Count(watch.Callback());
  return count ? Result<NotedAnswer<uint64_t>>({*count, notes.Refused()}) : count.Why();
}

Fault EventList::Write() {
  Watch watch(question);
  const TraceSource& trace = *question.trace.file;
  const Index& index = *question.trace.index;
  const auto hide = [&] { watch.Hide(); };
  if (question.notes == nullptr) {
    BatchCursor cursor(trace, index, question.filter.events, watch.Callback());
    return WriteFrom(cursor, nullptr, hide);
  }
  const Result<std::unique_ptr<JoinedNotes>> joined = Join(question, watch);
  if (!joined) {
    return joined.Why();
  }
  NotesOfTrace& notes = (*joined)->notes;
  NotedCursor cursor(trace, index, notes, question.filter, watch.Callback());
  Fault fault = WriteFrom(cursor, &notes, hide);
  refused = notes.Refused();
  return fault;
}

template <class Cursor>
Fault EventList::WriteFrom(Cursor& cursor, NotesOfTrace* notes,
                           const std::function<void()>& beforeOutput) {
  cursor.Seek(place ? *place : FirstPlace(cursor));
  Selection found;
  while (left > 0 && !cursor.GetFault() && !failure && output.IsTaken() &&
         (order.backwards ? cursor.Previous(found) : cursor.Next(found))) {
    if (Fault fault = Add(found, notes)) {
      return fault;
    }
    if (question.watched) {
      beforeOutput();
    }
    failure = question.watched ? output.Write() : output.Pass();
  }
  if (!cursor.GetFault()) {
    Begin();
  }
  return cursor.GetFault();
}

void EventList::Begin() {
  if (!begun) {
    lines.Begin(output.Text());
    begun = true;
  }
}

// Before which record the list begins.
template <class Cursor>
uint64_t EventList::FirstPlace(Cursor& cursor) const {
  uint64_t record = order.backwards || order.last ? ~uint64_t{0} : 0;
  if (order.last && !order.backwards) {
    cursor.Seek(record);
    Selection found;
    for (uint64_t wanted = left; wanted > 0 && cursor.Previous(found);) {
      const uint64_t taken = std::min<uint64_t>(wanted, found.Size());
      wanted -= taken;
      record = found.Record(found.Size() - static_cast<size_t>(taken));
    }
  }
  return record;
}

Fault EventList::Add(const Selection& found, NotesOfTrace* notes) {
  values.clear();
  const size_t attributes = notes == nullptr ? 0 : notes->Declarations().attributes.size();
  for (uint32_t attribute = 0; attribute < attributes; ++attribute) {
    const Result<const NoteValues*> of = notes->Of(found, attribute);
    if (!of) {
      return of.Why();
    }
    values.push_back(*of);
  }
  const NotedSelection noted = {found, values};
  lines.Meet(noted);
  Begin();
  const size_t size = static_cast<size_t>(std::min<uint64_t>(left, found.Size()));
  if (!order.backwards) {
    lines.AddFirst(noted, size, output.Text());
  }
  for (size_t i = 0; i < size && order.backwards; ++i) {
    lines.Add(noted, found.Size() - 1 - i, output.Text());
  }
  left -= size;
  written += size;
  place = order.backwards ? found.begin : found.end;
  return {};
}

}  // namespace marrowfin
