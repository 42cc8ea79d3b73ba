#include "trace/ask/NoteMarks.h"

#include <algorithm>

namespace marrowfin {

Fault MarkNoted(NotesOfTrace& notes, const std::vector<NoteCondition>& conditions,
                const Selection& found, std::span<uint8_t> marks) {
  std::fill(marks.begin(), marks.end(), uint8_t{1});
  for (const NoteCondition& condition : conditions) {
    const Result<const NoteValues*> values = notes.Of(found, condition.attribute);
    if (!values) {
      return values.Why();
    }
    MarkNotes(condition, notes.Declarations().attributes[condition.attribute].type, **values,
              marks);
  }
  return notes.Refused().kind == Fault::OTHER_TRACE ? notes.Refused() : Fault();
}

Fault NoteMarks::Read(const Selection& found) {
  if (conditions.empty()) {
    return {};
  }
  for (const NoteCondition& condition : conditions) {
    if (Fault fault = CheckNoteCondition(condition, notes->Declarations(), notes->File().Name())) {
      return fault;
    }
  }
  return MarkNoted(*notes, conditions, found, std::span(marks).first(found.Size()));
}

}  // namespace marrowfin
