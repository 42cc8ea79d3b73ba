#ifndef TRACE_EDIT_MERGETRACES_H
#define TRACE_EDIT_MERGETRACES_H

#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/About.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/edit/NewTrace.h"
#include "trace/edit/RecordFeed.h"
#include "trace/read/NotesFile.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// A trace that is merged; `notes` is what the feed's notes stand in, null where there are none.
struct MergedTrace {
  RecordFeed* feed = nullptr;
  const NotesFile* notes = nullptr;
};

// What was merged.
struct MergeAccount {
  std::vector<uint64_t> records;  // of each trace
  uint64_t firstCycle = 0;
  uint64_t lastCycle = 0;

  // Which of the traces breaks off, and why; all before that is merged.
  std::vector<Fault> ends;

  Fault leftOut = {};  // of samples that are damaged: the last of them

  // Values of notes that are not in the new trace: of attributes beyond the most that there may be,
  // and of values without a name that have one in another trace.
  uint64_t lostValues = 0;
};

// Puts several traces into one, by cycle, and of equal cycles the records of the trace that stands
// first. The records of each trace stay in order whatever their cycles are. Notes go along:
// attributes and counters are the same where they have one name and type, values where they have
// one name; numbers of records become those of the new trace. Closes nothing.
//
// Memory follows the number of traces. `progress` counts bytes. A fault where a trace cannot be
// read, or the new one cannot be written (NewTrace::GetFault has that one).
//
// Threads: the traces' notes and the new trace are used by nobody else meanwhile.
[[nodiscard]] Result<MergeAccount> MergeTraces(std::span<const MergedTrace> traces, NewTrace& made,
                                               const ProgressCallback& progress = {});

// What is told of the traces together: of what several tell what the first one does; the array
// where all that tell one tell the same and it holds the merged trace, of which `merged` is the
// summary. Null stands for a trace of which nothing is told.
About MergedAbout(std::span<const About* const> abouts, const Summary& merged);

}  // namespace marrowfin

#endif
