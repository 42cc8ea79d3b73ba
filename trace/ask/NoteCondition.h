#ifndef TRACE_ASK_NOTECONDITION_H
#define TRACE_ASK_NOTECONDITION_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "trace/ask/NoteValues.h"
#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Result.h"

namespace marrowfin {

// What is asked of an attribute of an event. An event without a value meets HAS_NOT alone, and one
// of whose notes nothing is known meets nothing at all. Threads: a value, which one thread writes
// or any number read.
struct NoteCondition {
  enum Comparison {
    HAS,
    HAS_NOT,
    EQUAL,
    NOT_EQUAL,
    BELOW,
    AT_MOST,
    ABOVE,
    AT_LEAST,
    BETWEEN,   // `value` and `last` included
    CONTAINS,  // of the type RECORDS, which knows this, HAS and HAS_NOT
  };

  uint32_t attribute = 0;
  Comparison comparison = HAS;
  uint64_t value = 0;  // reals as their bits
  uint64_t last = 0;   // of BETWEEN
  friend bool operator==(const NoteCondition&, const NoteCondition&) = default;
};

// Reads a condition as people write it, blanks around its parts aside:
//
//   packet          has a value            !packet             has none
//   packet=16538    kind!=wait    size<64    size<=64    size>64    size>=64
//   created=100..200                       from one to the other, both included
//   consumes~17                            record 17 is among those that it consumes
//
// Values of the type NAME may be names or numbers. OUT_OF_RANGE, with what there is, where the
// notes declare no such attribute or name; or where the value is none, or the comparison none for
// the type. `file` is that of the notes, for messages.
[[nodiscard]] Result<NoteCondition> ParseNoteCondition(std::string_view text,
                                                       const NoteDeclarations& declarations,
                                                       const std::string& file);

// OUT_OF_RANGE where a condition cannot be asked of such notes.
[[nodiscard]] Fault CheckNoteCondition(const NoteCondition& condition,
                                       const NoteDeclarations& declarations,
                                       const std::string& file);

// A value as people read it: its name where it has one, a real with as many digits as tell it from
// all others, else the number.
std::string NoteValueText(const NoteAttribute& attribute, uint64_t value);

// Clears the marks of records that do not meet a condition on an attribute of that type; there is
// one for each record of `values`.
void MarkNotes(const NoteCondition& condition, NoteType type, const NoteValues& values,
               std::span<uint8_t> marks);

}  // namespace marrowfin

#endif
