#ifndef SQL_NOTEBOUNDS_H
#define SQL_NOTEBOUNDS_H

#include <cstdint>
#include <map>
#include <vector>

#include "sql/EventColumns.h"
#include "sql/NumberBounds.h"
#include "sql/SqlTable.h"
#include "trace/ask/NoteCondition.h"
#include "trace/base/NotesFormat.h"

namespace marrowfin {

// What conditions of SQL on columns of notes leave of the events of a table, as far as the notes
// can be asked for it. Threads: one at a time.
class NoteBounds {
 public:
  // Whether comparisons with such values may spare rows at all.
  static bool Narrows(NoteType type, int comparison);

  // `declared` outlives it.
  NoteBounds(const EventColumns& table, const std::vector<NoteAttribute>& declared,
             const SqlQuestion& question);

  // Whether no event meets the conditions.
  bool IsEmpty() const;

  // Conditions that all events meet which meet those of SQL.
  std::vector<NoteCondition> Conditions() const;

 private:
  void Take(uint32_t attribute, const SqlCondition& condition);
  void TakeName(uint32_t attribute, const SqlCondition& condition);

  const std::vector<NoteAttribute>& declared;
  std::map<uint32_t, NumberBounds> numbers;  // by attribute
  bool isEmpty = false;
};

}  // namespace marrowfin

#endif
