#include "tools/program/EditInput.h"

#include "tools/program/CompanionInput.h"

namespace marrowfin {

void OpenItsCompanion(const Console& console, EditedTrace& edited) {
  const TraceSource& trace = *edited.trace.file;
  edited.companion = OpenCompanion(trace, edited.GetSummary().records, console);
  if (const NotesFile* const notes = edited.companion->Notes()) {
    edited.notes = std::make_unique<JoinedNotes>(edited.trace, *notes);
  }
}

}  // namespace marrowfin
