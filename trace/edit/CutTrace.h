#ifndef TRACE_EDIT_CUTTRACE_H
#define TRACE_EDIT_CUTTRACE_H

#include <cstdint>
#include <optional>

#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/edit/NewTrace.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Which part of a trace is wanted.
struct CutQuestion {
  NotedFilter filter;

  // From which record on; the first so many of those that match, or the last, and no more than so
  // many bytes of them, but at least one record.
  uint64_t from = 0;
  uint64_t mostRecords = ~uint64_t{0};
  uint64_t mostBytes = ~uint64_t{0};
  bool last = false;

  // Whether it is to be told where those begin that had no room, which may take going on to the end
  // of the trace.
  bool tellsNext = false;

  // Whether a copy of the first record goes in front: a viewer uses up the first record of a trace
  // without showing it.
  bool leadIn = false;
};

// What was cut.
struct CutAccount {
  uint64_t records = 0;  // without the one in front
  uint64_t firstCycle = 0;
  uint64_t lastCycle = 0;
  std::optional<uint64_t> next;  // the first record that matched and had no room, if asked for
  Fault leftOut = {};            // of samples that are damaged: the last of them
};

// Copies the part into a new trace, in order, with its notes: numbers of records in them become
// those of the new trace, and records that are not in it are named no more. Samples of counters go
// along that were taken in the cycles that are asked for, at the places that are; of pieces that
// follow each other each sample is in one. `notes` is null where there are none. Closes nothing.
//
// Only what the index does not pass over is read. `progress` counts records. A fault where the
// trace cannot be read, index or notes contradict it, or the new trace cannot be written
// (NewTrace::GetFault has that one).
//
// Threads: notes and new trace are used by nobody else meanwhile; trace and index may be.
[[nodiscard]] Result<CutAccount> CutTrace(const TraceSource& trace, const Index& index,
                                          NotesOfTrace* notes, const CutQuestion& question,
                                          NewTrace& made, const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
