#ifndef TRACE_EDIT_SORTTRACE_H
#define TRACE_EDIT_SORTTRACE_H

#include <cstddef>
#include <cstdint>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/edit/NewTrace.h"
#include "trace/edit/RecordFeed.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

struct SortOptions {
  static constexpr size_t LEAST_MEMORY = 16 << 20;

  // Bytes that sorting may take, but for what reading and writing take themselves; at least
  // LEAST_MEMORY.
  size_t memory = 256 << 20;

  // How many threads sort; at least one.
  size_t threads = 2;
};

// What was sorted.
struct SortAccount {
  uint64_t records = 0;
  uint64_t firstCycle = 0;
  uint64_t lastCycle = 0;
  uint64_t runs = 0;   // that were put in order by themselves
  Fault leftOut = {};  // of samples that are damaged: the last of them
  Fault end = {};      // why the trace breaks off, if it does
};

// Puts the records of a trace in order of their cycles, those of equal ones as they came, into a
// new trace, with its notes: numbers of records in them become those of the new trace; a record
// that now comes later is named no more. `notes` is what the feed's notes stand in, null where
// there are none. Closes nothing.
//
// Works in memory as far as that goes, else with as much again in scratch files. `progress` counts
// bytes, those of the trace and as many again. A fault where the trace cannot be read, there is no
// room, or the new trace cannot be written (NewTrace::GetFault has that one). Of a trace that
// breaks off what comes before that is sorted.
//
// Threads: feed and new trace are used by nobody else meanwhile; progress is told by the thread
// that asks for the sorting.
[[nodiscard]] Result<SortAccount> SortTrace(RecordFeed& feed, const NotesFile* notes,
                                            const SortOptions& options, NewTrace& made,
                                            const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
