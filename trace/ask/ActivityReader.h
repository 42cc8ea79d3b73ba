#ifndef TRACE_ASK_ACTIVITYREADER_H
#define TRACE_ASK_ACTIVITYREADER_H

#include <cstdint>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How often each unit of the array was active in a range of a trace.
//
// What lies between two boundaries of the index is the difference of the sums up to them, a few
// nodes of the index; only what lies between an end of the range and the nearest boundary is
// counted record by record, and what lies between two boundaries with an end of a message off the
// array as it was then, on it as it became: that may be the whole trace. `progress` is told the
// number of the record that is reached, and of all. Trace and index must outlive the reader.
// Threads: one at a time, each with an index of its own.
class ActivityReader {
 public:
  ActivityReader(const TraceSource& trace, const Index& index) : trace(trace), index(index) {}

  // The extent of Count's results along both axes: powers of two, at most Index::MAX_ELEMENTS
  // cells.
  uint32_t ColumnCount() const;
  uint32_t RowCount() const;

  // Counts the records `first` up to `last` (not included). Of FIRES, SENDS and RECEIVES `counts`
  // becomes ColumnCount() x RowCount() counts, row by row, without ends of messages outside these
  // positions; of TRANSMISSIONS one count per place in
  // Summary::switchPlaces. A fault leaves `counts` of no use; one of them is an array of which the
  // index keeps nothing (Index::HasBoundaries).
  [[nodiscard]] Fault Count(uint64_t first, uint64_t last, Activity activity,
                            std::vector<uint64_t>& counts,
                            const ProgressCallback& progress = {}) const;

  // The same between two boundaries of the index, counted from 1 (0 is the start of the trace),
  // out of the index alone, but for segments with far ends (see Summary::array): whether the trace
  // is still what was indexed is not asked.
  [[nodiscard]] Fault CountBetween(size_t from, size_t to, Activity activity,
                                   std::vector<uint64_t>& counts,
                                   const ProgressCallback& progress = {}) const;

  // The same for all records of the cycles `first` to `last` (included), in a trace whose cycles do
  // not fall; in any other it is a fault.
  [[nodiscard]] Fault CountCycles(uint64_t first, uint64_t last, Activity activity,
                                  std::vector<uint64_t>& counts,
                                  const ProgressCallback& progress = {}) const;

 private:
  Fault Begin(Activity activity, std::vector<uint64_t>& counts) const;
  Fault CountRange(uint64_t first, uint64_t last, Activity activity, std::vector<uint64_t>& counts,
                   const ProgressCallback& progress) const;
  Fault CountRangeOfCycles(uint64_t first, uint64_t last, Activity activity,
                           std::vector<uint64_t>& counts, const ProgressCallback& progress) const;
  Fault AddRecords(uint64_t first, uint64_t last, Activity activity, int sign,
                   std::vector<uint64_t>& counts, const ProgressCallback& progress) const;
  Fault AddTransmissions(uint64_t first, uint64_t last, int sign, std::vector<uint64_t>& counts,
                         const ProgressCallback& progress) const;
  Fault AddBetween(size_t from, size_t to, Activity activity, std::vector<uint64_t>& counts,
                   const ProgressCallback& progress) const;
  Fault AddNodes(size_t from, size_t to, Activity activity, std::vector<uint64_t>& counts) const;
  uint64_t FarEndsUpTo(size_t boundary) const;
  Fault AddUpTo(size_t boundary, uint64_t record, Activity activity, int sign,
                std::vector<uint64_t>& counts, const ProgressCallback& progress) const;
  size_t Nearest(uint64_t record) const;
  uint64_t RecordOf(size_t boundary) const;

  const TraceSource& trace;
  const Index& index;
};

}  // namespace marrowfin

#endif
