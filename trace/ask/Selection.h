#ifndef TRACE_ASK_SELECTION_H
#define TRACE_ASK_SELECTION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/ask/EventFilter.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// Records of a batch: the batch as it was decoded, and which of its rows are meant. Nothing is
// copied, so whoever wants three fields of every record touches no other.
struct Selection {
  const Columns* columns = nullptr;
  std::span<const uint16_t> rows;  // ascending

  // The records that were looked at: all of those that match are in `rows`.
  uint64_t begin = 0;
  uint64_t end = 0;

  size_t Size() const { return rows.size(); }

  // The number of the i-th of the records, and the record.
  uint64_t Record(size_t i) const { return columns->firstRecord + rows[i]; }
  TraceEvent Event(size_t i) const;

  // At which byte of the trace each of the records begins; `offsets` has room for Size() of them.
  void GetOffsets(std::span<uint64_t> offsets) const;
};

// Picks out the records of batches that a filter lets through, without a branch per record. Ranges
// of records and steps are the caller's to keep, and so are the steps of what is left out, whose
// ranges of records are kept here. Threads: one at a time.
class Selector {
 public:
  explicit Selector(const EventFilter& filter);

  // The rows `from` up to `to` (not included) that match; good until the next call.
  std::span<const uint16_t> Select(const Columns& columns, size_t from, size_t to);

 private:
  typedef std::array<uint8_t, Columns::CAPACITY> Marks;

  void MarkTypes(const Columns& columns);
  void MarkThread(const Columns& columns);
  void MarkThreads(const Columns& columns);
  void MarkCycles(const Columns& columns);
  void MarkRegion(const Columns& columns);
  void UnmarkOthers(const Columns& columns, size_t from, size_t to);

  EventFilter filter;
  std::vector<Selector> others;  // of what is left out
  bool everything;               // every record matches
  Marks marks;                   // 1 where a record of the batch matches so far
  std::array<uint16_t, Columns::CAPACITY> rows;
};

}  // namespace marrowfin

#endif
