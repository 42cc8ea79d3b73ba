#ifndef TRACE_ASK_ACTIVITYOVERTIME_H
#define TRACE_ASK_ACTIVITYOVERTIME_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// A range of cycles in equal bins, as far as whole cycles go.
struct ActivityQuestion {
  uint64_t first = 0;
  uint64_t last = ~uint64_t{0};  // included
  size_t bins = 1;               // 0 where `first` is above `last`

  // How many records of the trace may be read. What the index knows of whole cells of its time
  // table costs nothing; those of a cell in which a bin ends are read. Where more would have to be
  // read than this, those edges of bins move to the nearest edge of a cell, and the ends of the
  // range outwards, and nothing is read: the answer then tells where the bins begin, and is exact
  // for those. There may be fewer than were asked for, since cells are not divided.
  uint64_t readAtMost = ~uint64_t{0};

  // What is read while a picture is drawn.
  static constexpr uint64_t QUICK = 65536;
};

// How many records of each type and thread each bin has.
struct ActivityBins {
  std::vector<uint64_t> firsts;   // the first cycle of each bin; one that has none begins where the
                                  // next one does
  uint64_t last = 0;              // the last cycle of the last bin
  std::vector<uint32_t> threads;  // told apart, see TimeTable; all others are counted behind them
  std::vector<uint64_t> counts;   // one for each bin, of each type, of each thread

  // The counts of all bins: of threads[slot], or where `slot` is the number of threads of all
  // others; `recordType` is a RecordType.
  std::span<const uint64_t> Of(size_t slot, uint32_t recordType) const {
    return std::span(counts).subspan(At(slot, recordType - SWITCH_RECORD, 0), firsts.size());
  }

  // Where in `counts` a bin's is; types are counted from 0.
  size_t At(size_t slot, size_t type, size_t bin) const {
    return (slot * RECORD_TYPES + type) * firsts.size() + bin;
  }
};

// The activity of a trace over time, of all types and threads at once. A record counts for the
// cycle that it bears, also where cycles fall: there, what is read is the whole trace.
//
// Takes a fraction of a millisecond for some thousand bins, whatever the length of the trace, and
// the time to read what is read; the first question to an index reads its time table as well. A
// fault where trace or index cannot be read or contradict each other, or where `progress`, which
// counts the records that are read, asked to stop. Several threads may ask, each with an index of
// its own.
[[nodiscard]] Result<ActivityBins> ActivityOverTime(const TraceSource& trace, const Index& index,
                                                    const ActivityQuestion& question,
                                                    const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
