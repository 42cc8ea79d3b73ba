#ifndef TRACE_ASK_EVENTCOUNTER_H
#define TRACE_ASK_EVENTCOUNTER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/FilterRange.h"
#include "trace/ask/QuietSpans.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How many events a filter lets through before any record, and which is the n-th of them: what a
// scroll bar asks, again and again for the same filter.
//
// The index tells it, and a question takes the reading of a segment at most, where it counts just
// what the filter asks for: records by type and thread; fires and switch transmissions of a region,
// and messages where a region only sends or only receives. For all other filters the trace is read,
// but for what BatchCursor passes over, as far as a question needs it and once only: what was
// counted is kept, a number for each segment. Progress counts the records of the filter's range
// that are gone through; where it stops, what was counted so far is not lost.
//
// For one thread at a time, each with an index of its own; trace and index must outlive it. A fault
// where trace or index cannot be read, contradict each other or changed, or progress stopped.
class EventCounter {
 public:
  EventCounter(const TraceSource& trace, const Index& index, const EventFilter& filter);

  // Whether the index tells the counts.
  [[nodiscard]] Result<bool> IsTold();

  // Bounds of Count(), without reading the trace but to find the ends of the range: for a scroll
  // bar to begin with.
  [[nodiscard]] Result<CountBounds> Estimate();

  // How many events match in all.
  [[nodiscard]] Result<uint64_t> Count(const ProgressCallback& progress = {});

  // How many of them are before a record.
  [[nodiscard]] Result<uint64_t> CountBefore(uint64_t record,
                                             const ProgressCallback& progress = {});

  // The number of the record that is the n-th of them, counted from 0; an OUT_OF_RANGE fault where
  // there are no more than n.
  [[nodiscard]] Result<uint64_t> Find(uint64_t n, const ProgressCallback& progress = {});

 private:
  // A boundary of the index, and how many events match before it.
  struct Mark {
    size_t boundary = 0;
    uint64_t before = 0;
  };

  Fault Prepare();
  uint64_t RecordOf(size_t boundary) const;
  size_t BoundaryAt(uint64_t record) const;
  Result<uint64_t> CountTold(uint64_t record);
  Result<uint64_t> CountRead(uint64_t record, const ProgressCallback& progress);
  Fault ReadUpTo(uint64_t record, const ProgressCallback& progress);
  Result<Mark> LastMarkBefore(uint64_t n);
  Result<uint64_t> CountBetween(uint64_t from, uint64_t to);
  Result<uint64_t> FindBetween(uint64_t from, uint64_t to, uint64_t n);
  Fault TooFew(uint64_t n) const;

  const TraceSource& trace;
  const Index& index;
  const EventFilter filter;
  std::unique_ptr<QuietSpans> spans;
  std::optional<RecordRange> range;
  EventFilter within;    // the filter's conditions for records of the range
  bool told = false;     // once the range is known: whether the index tells the counts
  uint64_t skipped = 0;  // if it does, how many events match before the range

  // If it does not, how far the range was read and what was found: in all, and before each boundary
  // from that of the start of the range on.
  uint64_t reached = 0;
  uint64_t found = 0;
  std::vector<uint64_t> foundBefore;
};

}  // namespace marrowfin

#endif
