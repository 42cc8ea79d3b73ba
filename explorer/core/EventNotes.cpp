#include "explorer/core/EventNotes.h"

#include <utility>

#include "explorer/core/AskedFilter.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/NoteCondition.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {
namespace {

// Adds the values of the events from `begin` on that lie in a batch; returns the first behind it.
size_t AddBatch(const NoteValues& values, const Selection& found,
                const std::vector<TraceEvent>& events, size_t begin, EventNotes& notes) {
  size_t row = 0;
  size_t next = begin;
  for (; next < events.size() && events[next].record < found.end; ++next) {
    while (found.Record(row) < events[next].record) {
      ++row;
    }
    notes.has.push_back(values.Has(row) ? 1 : 0);
    notes.values.push_back(values.Has(row) ? values.Value(row) : 0);
  }
  return next;
}

}  // namespace

Result<std::vector<EventNotes>> NotesOf(const Asking& asking, KnownNotes& known,
                                        const std::vector<TraceEvent>& events) {
  std::vector<EventNotes> columns(known.notes.Declarations().attributes.size());
  EventFilter filter;
  filter.firstRecord = events.empty() ? 0 : events.front().record;
  filter.lastRecord = events.empty() ? 0 : events.back().record + 1;
  BatchCursor cursor(asking.Trace(), asking.index, filter, asking.progress);
  Selection found;
  for (size_t next = 0; next < events.size() && !columns.empty();) {
    cursor.Seek(events[next].record);
    if (!cursor.Next(found)) {
      return cursor.GetFault() ? cursor.GetFault() : CancelledFault(asking.Trace().Name());
    }
    const size_t begin = next;
    for (uint32_t attribute = 0; attribute < columns.size(); ++attribute) {
      const Result<const NoteValues*> values = known.notes.Of(found, attribute);
      if (!values) {
        return values.Why();
      }
      next = AddBatch(**values, found, events, begin, columns[attribute]);
    }
  }
  return columns;
}

JsonText& PutEvent(const TraceEvent& event, JsonText& head) {
  head.Object();
  head.Key("record").Number(event.record);
  head.Key("cycle").Wide(event.cycle);
  head.Key("thread").Number(event.thread);
  head.Key("type").Text(RecordTypeName(event.type));
  head.Key("at").At(event.at);
  if (event.type == SEND_RECORD) {
    head.Key("to").At(event.to);
  }
  return head;
}

Result<ToldNotes> ToldNotes::Of(const Asking& asking, const std::vector<TraceEvent>& events) {
  const Result<LentNotes::Lease> notes = asking.view.Notes(asking.progress);
  ToldNotes told;
  if (!notes) {
    return notes.Why();
  }
  if (!*notes) {
    return told;
  }
  Result<std::vector<EventNotes>> columns = NotesOf(asking, **notes, events);
  if (!columns) {
    return columns.Why();
  }
  told.attributes = (*notes)->notes.Declarations().attributes;
  told.columns = std::move(columns).Take();
  return told;
}

void ToldNotes::Put(size_t i, JsonText& head) const {
  if (attributes.empty()) {
    return;
  }
  const auto textOf = [&](size_t attribute) {
    return NoteValueText(attributes[attribute], columns[attribute].values[i]);
  };
  for (size_t attribute = 0; attribute < attributes.size(); ++attribute) {
    if (attributes[attribute].name == KIND_ATTRIBUTE && columns[attribute].has[i] != 0) {
      head.Key("kind").Text(textOf(attribute));
    }
  }
  head.Key("notes").Object();
  for (size_t attribute = 0; attribute < attributes.size(); ++attribute) {
    if (columns[attribute].has[i] != 0) {
      head.Key(attributes[attribute].name).Text(textOf(attribute));
    }
  }
  head.End();
}

}  // namespace marrowfin
