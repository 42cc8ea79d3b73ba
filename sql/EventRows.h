#ifndef SQL_EVENTROWS_H
#define SQL_EVENTROWS_H

#include <memory>
#include <optional>
#include <vector>

#include "sql/EventColumns.h"
#include "sql/SqlTable.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventSteps.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/ask/Selection.h"

namespace marrowfin {

// Goes through the events of a table that conditions leave, both ways. Reads what the index cannot
// rule out, batch by batch, and of notes and steps what columns are told of. In one thread.
class EventRows : public SqlCursor {
 public:
  EventRows(const EventColumns& table, SqlWork& work) : table(table), work(work) {}
  ~EventRows() override;

  [[nodiscard]] Fault Ask(const SqlTrace& trace, const SqlQuestion& question) override;
  [[nodiscard]] Fault Next() override;
  bool IsAtEnd() const override { return atEnd; }
  [[nodiscard]] Fault Tell(size_t column, sqlite3_context* to) override;
  sqlite3_int64 RowNumber() const override;

 private:
  Fault Load();
  bool ReadBatch();
  Fault Search(const EventFilter& filter, const std::vector<NoteCondition>& conditions);
  Fault SeekNotesIndex();
  void JoinNotes();
  size_t Row() const { return found.rows[row]; }
  Fault TellStep(sqlite3_context* to);
  void TellType(sqlite3_context* to) const;
  void TellLevels(EventField field, sqlite3_context* to) const;
  void TellOfSource(EventField field, sqlite3_context* to) const;
  void TellOfTarget(EventField field, sqlite3_context* to) const;
  void TellDistance(sqlite3_context* to) const;
  Fault TellNote(uint32_t attribute, sqlite3_context* to);
  Fault FindNotes(uint32_t attribute);

  const EventColumns& table;
  SqlWork& work;
  const SqlTrace* trace = nullptr;
  bool backwards = false;
  std::unique_ptr<NotesOfTrace> notes;   // once they are asked for
  std::unique_ptr<BatchCursor> batches;  // what goes through the events, by what the trace tells
  std::unique_ptr<NotedCursor> noted;    // or, where notes were asked for, by that as well
  Selection found;
  size_t row = 0;  // of those found
  bool atEnd = true;

  // Of the batch, once they are asked for.
  std::optional<EventSteps> steps;
  bool hasSteps = false;
  std::vector<const NoteValues*> values;  // by attribute; null where they were not asked for
};

}  // namespace marrowfin

#endif
