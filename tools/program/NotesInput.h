#ifndef TOOLS_PROGRAM_NOTESINPUT_H
#define TOOLS_PROGRAM_NOTESINPUT_H

#include <memory>

#include "tools/program/TraceInput.h"
#include "trace/ask/NotesIndex.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// The notes of a trace joined to its records, with their index where one was asked for.
struct JoinedNotes {
  JoinedNotes(const IndexedTrace& trace, const NotesFile& notes)
      : notes(*trace.file, *trace.index, notes) {}

  std::unique_ptr<NotesIndex> index;  // which the notes use
  NotesOfTrace notes;
};

// An answer, and why notes were not believed, if any were not.
template <class T>
struct NotedAnswer {
  T answer;
  Fault refused;
};

enum class NotesIndexUse { NONE, OPEN, REBUILD };

// Both files outlive what comes back, and so does the index of the trace.
[[nodiscard]] Result<std::unique_ptr<JoinedNotes>> JoinNotes(const IndexedTrace& trace,
                                                             const NotesFile& notes,
                                                             NotesIndexUse use,
                                                             const ProgressCallback& progress);

}  // namespace marrowfin

#endif
