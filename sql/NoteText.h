#ifndef SQL_NOTETEXT_H
#define SQL_NOTETEXT_H

#include <bit>
#include <cstdint>

#include "sql/NumberBounds.h"
#include "sql/SqlText.h"
#include "trace/ask/NoteCondition.h"
#include "trace/base/NotesFormat.h"

namespace marrowfin {

// Tells a value of an attribute as SQL has it: names as text, where there is one. Threads: any
// number may call it at a time, each for a connection of its own.
inline void TellNoteValue(const NoteAttribute& attribute, uint64_t value, sqlite3_context* to) {
  if (attribute.type == NoteType::REAL) {
    sqlite3_result_double(to, std::bit_cast<double>(value));
  } else if (attribute.type == NoteType::NAME) {
    TellText(NoteValueText(attribute, value), to);
  } else {
    TellNumber(to, value);
  }
}

}  // namespace marrowfin

#endif
