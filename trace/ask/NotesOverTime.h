#ifndef TRACE_ASK_NOTESOVERTIME_H
#define TRACE_ASK_NOTESOVERTIME_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/ask/ActivityOverTime.h"
#include "trace/ask/NotesIndex.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How many records of each type and value of an attribute each bin has. Records without a block of
// notes, or with one that is not believed, are not counted.
struct NoteBins {
  std::vector<uint64_t> firsts;  // as of ActivityBins
  uint64_t last = 0;
  std::vector<uint64_t> values;  // told apart, in the order in which the notes mention them
  std::vector<uint64_t> counts;  // one for each bin, of each type, of each slot

  // The counts of all bins. Slot n is that of values[n]; behind them come Others() and None().
  std::span<const uint64_t> Of(size_t slot, uint32_t recordType) const {
    return std::span(counts).subspan(At(slot, recordType - SWITCH_RECORD, 0), firsts.size());
  }
  size_t Others() const { return values.size(); }
  size_t None() const { return values.size() + 1; }  // records without a value
  size_t Slots() const { return values.size() + 2; }

  // Where in `counts` a bin's is; types are counted from 0.
  size_t At(size_t slot, size_t type, size_t bin) const {
    return (slot * RECORD_TYPES + type) * firsts.size() + bin;
  }
};

// The activity over time by the values of an attribute that has names or few values, such as its
// kind, as ActivityOverTime tells it by thread: what a question asks, what it reads and what it
// costs is said there. OUT_OF_RANGE where the attribute has too many values, or values of another
// type; other faults are those of ActivityOverTime and, for what is read, of NotesOfTrace. `notes`
// serves one thread at a time.
[[nodiscard]] Result<NoteBins> NotesOverTime(const TraceSource& trace, const Index& index,
                                             NotesOfTrace& notes, const NotesIndex& known,
                                             uint32_t attribute, const ActivityQuestion& question,
                                             const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
