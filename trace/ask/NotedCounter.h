#ifndef TRACE_ASK_NOTEDCOUNTER_H
#define TRACE_ASK_NOTEDCOUNTER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "trace/ask/EventCounter.h"
#include "trace/ask/FilterRange.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How many events a filter with conditions on notes lets through before any record, and which is
// the n-th of them. Without such conditions it is EventCounter; with them the records are gone
// through as NotedCursor does, as far as a question needs it and once only: what was counted is
// kept, a number for some ten thousand records each. Where progress stops, what was counted so far
// is not lost.
//
// For one thread at a time; trace, index and notes must outlive it. Faults are those of NotedCursor
// and EventCounter.
class NotedCounter {
 public:
  NotedCounter(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
               const NotedFilter& filter);

  // How many events match in all.
  [[nodiscard]] Result<uint64_t> Count(const ProgressCallback& progress = {});

  // How many of them are before a record.
  [[nodiscard]] Result<uint64_t> CountBefore(uint64_t record,
                                             const ProgressCallback& progress = {});

  // The number of the record that is the n-th of them, counted from 0; an OUT_OF_RANGE fault where
  // there are no more than n.
  [[nodiscard]] Result<uint64_t> Find(uint64_t n, const ProgressCallback& progress = {});

 private:
  static constexpr uint64_t STRIDE = 65536;  // records between marks

  Fault Prepare();
  Fault ReadUpTo(uint64_t record, const ProgressCallback& progress);
  void Reach(uint64_t record);
  NotedFilter Part(uint64_t from, uint64_t to) const;
  Result<uint64_t> CountBetween(uint64_t from, uint64_t to);
  Result<uint64_t> FindFrom(uint64_t record, uint64_t n);

  const TraceSource& trace;
  const Index& index;
  NotesOfTrace& notes;
  const NotedFilter filter;
  EventCounter plain;
  std::optional<RecordRange> range;
  EventFilter within;    // the filter's conditions for records of the range
  uint64_t reached = 0;  // how far the range was read, and what was found there
  uint64_t found = 0;
  std::vector<uint64_t> foundBefore;  // before each mark that was reached, the first one at the
                                      // start of the range
};

}  // namespace marrowfin

#endif
