#ifndef TOOLS_PROGRAM_EDITINPUT_H
#define TOOLS_PROGRAM_EDITINPUT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tools/program/NotesInput.h"
#include "tools/program/TraceInput.h"
#include "trace/base/ArrayShape.h"
#include "trace/read/Companion.h"

namespace marrowfin {

// What the subcommands share that make traces of traces.

// A trace that is open with its companion.
struct EditedTrace {
  IndexedTrace trace;
  std::optional<Companion> companion;
  std::unique_ptr<JoinedNotes> notes;  // null where there are none

  const Summary& GetSummary() const { return trace.index->GetSummary(); }
  NotesOfTrace* Notes() const { return notes == nullptr ? nullptr : &notes->notes; }
};

// Looks for the companion beside a trace that is open. Standard input has none.
void OpenItsCompanion(const Console& console, EditedTrace& edited);

}  // namespace marrowfin

#endif
