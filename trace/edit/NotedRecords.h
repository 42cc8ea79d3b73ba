#ifndef TRACE_EDIT_NOTEDRECORDS_H
#define TRACE_EDIT_NOTEDRECORDS_H

#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/edit/NewTrace.h"
#include "trace/edit/RecordNumbers.h"
#include "trace/edit/SortRun.h"

namespace marrowfin {

// Puts the records of one trace into a new one in an order of their own, with their notes: what
// notes name by its number is named by its new one, as far as it stands before. One thread at a
// time.
class NotedRecords {
 public:
  // `declarations` are those of the trace, null where it has no notes; `made` is declared already
  // and outlives this.
  NotedRecords(const NoteDeclarations* declarations, NewTrace& made);

  // The record that had `number`, and what is noted of it. The fault is that of a scratch file, or
  // of the new trace.
  [[nodiscard]] Fault Add(const SortedRecord& record, uint64_t number,
                          std::span<const NotedValue> values) {
    made.Add(record.type, record.cycle, record.thread, record.at, record.to);
    return isNoted ? Note(number, values) : made.GetFault();
  }

 private:
  Fault Note(uint64_t number, std::span<const NotedValue> values);

  NewTrace& made;
  const bool isNoted;
  std::vector<bool> namesRecords;  // by attribute
  bool anyNamesRecords = false;
  RecordNumbers numbers;
};

}  // namespace marrowfin

#endif
