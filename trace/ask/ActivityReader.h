#ifndef TRACE_ASK_ACTIVITYREADER_H
#define TRACE_ASK_ACTIVITYREADER_H

#include <cstdint>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How often each unit of the array was active in a range of a trace.
//
// What lies between two boundaries of the index is the difference of the sums up to them, a few
// nodes of the index; only what lies between an end of the range and the nearest boundary is
// counted record by record. Trace and index must outlive the reader.
class ActivityReader {
 public:
  ActivityReader(const TraceFile& trace, const Index& index) : trace(trace), index(index) {}

  // The extent of Count's results along both axes: powers of two, at most Index::MAX_ELEMENTS
  // cells.
  uint32_t ColumnCount() const;
  uint32_t RowCount() const;

  // Counts the records `first` up to `last` (not included). Of FIRES, SENDS and RECEIVES `counts`
  // becomes ColumnCount() x RowCount() counts, row by row; of TRANSMISSIONS one count per place in
  // Summary::switchPlaces. False where `fault` was set, also for an array of which the index keeps
  // nothing (Index::HasBoundaries).
  bool Count(uint64_t first, uint64_t last, Activity activity, std::vector<uint64_t>& counts,
             Fault& fault) const;

  // The same between two boundaries of the index, counted from 1 (0 is the start of the trace),
  // out of the index alone: whether the trace is still what was indexed is not asked.
  bool CountBetween(size_t from, size_t to, Activity activity, std::vector<uint64_t>& counts,
                    Fault& fault) const;

  // The same for all records of the cycles `first` to `last` (included), in a trace whose cycles do
  // not fall; in any other it is a fault.
  bool CountCycles(uint64_t first, uint64_t last, Activity activity, std::vector<uint64_t>& counts,
                   Fault& fault) const;

 private:
  bool Begin(Activity activity, std::vector<uint64_t>& counts, Fault& fault) const;
  bool CountRecords(uint64_t first, uint64_t last, Activity activity, std::vector<uint64_t>& counts,
                    Fault& fault) const;
  bool AddRecords(uint64_t first, uint64_t last, Activity activity, int sign,
                  std::vector<uint64_t>& counts, Fault& fault) const;
  bool AddTransmissions(uint64_t first, uint64_t last, int sign, std::vector<uint64_t>& counts,
                        Fault& fault) const;
  bool AddBetween(size_t from, size_t to, Activity activity, std::vector<uint64_t>& counts,
                  Fault& fault) const;
  bool AddUpTo(size_t boundary, uint64_t record, Activity activity, int sign,
               std::vector<uint64_t>& counts, Fault& fault) const;
  size_t Nearest(uint64_t record) const;
  uint64_t RecordOf(size_t boundary) const;

  const TraceFile& trace;
  const Index& index;
};

}  // namespace marrowfin

#endif
