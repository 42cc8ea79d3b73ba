#include "sql/EventTable.h"

#include <algorithm>
#include <cmath>

#include "sql/EventRows.h"
#include "sql/NoteBounds.h"

namespace marrowfin {

namespace {

// About as many have one packet in their notes.
constexpr double EVENTS_OF_NUMBER = 10;

double SetSize(EventSet set, const Summary& summary) {
  return static_cast<double>(set == EventSet::EVENTS  ? summary.records
                             : set == EventSet::FIRES ? summary.fires
                             : set == EventSet::SENDS ? summary.sends
                                                      : summary.switches);
}

}  // namespace

EventTable::EventTable(EventSet set, const SqlTrace* trace, SqlWork& work)
    : columns(set, trace), work(work) {
  if (trace != nullptr) {
    Weigh(*trace);
  }
}

void EventTable::Weigh(const SqlTrace& trace) {
  const Summary& summary = trace.index.GetSummary();
  rows = SetSize(columns.Set(), summary);
  cycles = static_cast<double>(summary.changes + 1);
  elements = std::max(1.0, std::sqrt(static_cast<double>(summary.array.columns) *
                                     static_cast<double>(summary.array.rows)));
  ordered = summary.Ordered();
}

bool EventTable::Narrows(size_t column, int comparison) const {
  switch (columns.Field(column)) {
    case EventField::TYPE:
      return comparison == SQLITE_INDEX_CONSTRAINT_EQ;
    case EventField::DISTANCE:
      return false;
    case EventField::NOTE:
      return NoteBounds::Narrows(columns.Type(column), comparison);
    default:
      return true;
  }
}

// Values of what is sorted are looked up one by one; of all else one pass finds several.
bool EventTable::TakesSets(size_t column) const {
  return columns.Field(column) != EventField::RECORD &&
         columns.Field(column) != EventField::CYCLE && columns.Field(column) != EventField::STEP;
}

bool EventTable::Ascends(size_t column) const {
  return columns.Field(column) == EventField::RECORD || columns.Field(column) == EventField::STEP ||
         (columns.Field(column) == EventField::CYCLE && ordered);
}

double EventTable::Share(size_t column, int comparison) const {
  if (comparison != SQLITE_INDEX_CONSTRAINT_EQ) {
    return 0.25;
  }
  switch (columns.Field(column)) {
    case EventField::RECORD:
      return 1 / std::max(rows, 1.0);
    case EventField::CYCLE:
      return ordered ? 1 / cycles : 0.25;
    case EventField::STEP:
      return 1 / cycles;
    case EventField::TYPE:
      return 1.0 / 3;
    case EventField::THREAD:
      return 0.25;
    case EventField::NOTE:
      return columns.Type(column) == NoteType::NAME ? 0.25 : EVENTS_OF_NUMBER / std::max(rows, 1.0);
    default:
      return 1 / elements;
  }
}

// Packets come and go: few blocks of notes have one of them, and all have every kind.
double EventTable::LeastRead(size_t column, int comparison) const {
  if (columns.Field(column) != EventField::NOTE) {
    return 0;
  }
  const bool isOne = comparison == SQLITE_INDEX_CONSTRAINT_EQ;
  return isOne && columns.Type(column) != NoteType::NAME ? NOTES_MOST_RECORDS : rows;
}

std::unique_ptr<SqlCursor> EventTable::Open() const {
  return std::make_unique<EventRows>(columns, work);
}

}  // namespace marrowfin
