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

// Opens a trace, whatever it comes from, with its index: a plain file as OpenIndexed does; what
// gzip or zstd packed, a pipe or standard input is copied first into a file without a name that
// goes away with it, as does its index. OpenFrontIndexed copies plain files too, the first `most`
// bytes alone, but for packed traces, of which any part can be read.
MaybeFailure OpenAnyIndexed(const std::string& name, const Console& console, IndexedTrace& trace);
MaybeFailure OpenFrontIndexed(const std::string& name, uint64_t most, const Console& console,
                              IndexedTrace& trace);

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
