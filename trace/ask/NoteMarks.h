#ifndef TRACE_ASK_NOTEMARKS_H
#define TRACE_ASK_NOTEMARKS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// Marks the records of a selection whose notes meet all conditions with 1, the others with 0; there
// is a mark for each. A fault where the trace cannot be read; OTHER_TRACE where the notes turned
// out not to be of it.
[[nodiscard]] Fault MarkNoted(NotesOfTrace& notes, const std::vector<NoteCondition>& conditions,
                              const Selection& found, std::span<uint8_t> marks);

// Which events of a run meet conditions on their notes, for whoever needs the others as well.
// Threads: one at a time. The notes must outlive it.
class NoteMarks {
 public:
  // `notes` may be null where there are no conditions: then all events meet them.
  NoteMarks(NotesOfTrace* notes, const std::vector<NoteCondition>& conditions)
      : notes(notes), conditions(conditions) {}

  // Reads what is noted of a batch; Meet is about the i-th record of it. Faults as of MarkNoted,
  // and OUT_OF_RANGE where the conditions cannot be asked of such notes.
  [[nodiscard]] Fault Read(const Selection& found);

  bool Meet(size_t i) const { return conditions.empty() || marks[i] != 0; }

 private:
  NotesOfTrace* notes;
  std::vector<NoteCondition> conditions;
  std::array<uint8_t, Columns::CAPACITY> marks = {};
};

}  // namespace marrowfin

#endif
