#ifndef TRACE_INDEX_TIMECOUNTER_H
#define TRACE_INDEX_TIMECOUNTER_H

#include <array>
#include <cstdint>

#include "trace/index/TimeTable.h"
#include "trace/read/Columns.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// Counts the records of a trace into a time table, and by thread for a summarizer.
//
// Both are counts by thread and type, so each record is counted once: what the cells of the table
// add up to is told to the summarizer now and then. To count in another thread than the one that
// reads was rejected: it takes copies of cycles and threads, which cost more than the counting.
class TimeCounter {
 public:
  // Adds to what a table counted already, which is told to nobody.
  explicit TimeCounter(TimeTable table = TimeTable());

  // Takes a batch whose threads `summarizer` was not told.
  void Add(const Columns& columns, Summarizer& summarizer);

  // Tells the summarizer what the table counted by thread, and is to be followed by ClearFor unless
  // nothing follows. Threads that the table does not tell apart are told with each record.
  void TellThreads(Summarizer& summarizer) const;

  // The table of all that was added.
  const TimeTable& Get() const { return table; }

  // Forgets it, see TimeTable::ClearFor.
  void ClearFor(const TimeTable& before) { table.ClearFor(before); }

 private:
  // The columns of threads with a small number, as most have.
  static constexpr uint32_t SMALL_THREADS = 64;
  static constexpr uint8_t UNKNOWN = 0xFF;
  static_assert(TimeTable::COLUMNS <= UNKNOWN);
  static constexpr uint8_t OTHERS = TimeTable::ColumnOf(TimeTable::OTHERS, 0);

  uint8_t ColumnOf(uint32_t thread, Summarizer& summarizer) {
    const uint8_t column = thread < SMALL_THREADS ? smallColumns[thread] : UNKNOWN;
    return column != UNKNOWN ? column : LearnThread(thread, summarizer);
  }
  uint8_t LearnThread(uint32_t thread, Summarizer& summarizer);
  uint8_t Keep(uint32_t thread, size_t slot);

  TimeTable table;
  std::array<uint8_t, SMALL_THREADS> smallColumns;
};

}  // namespace marrowfin

#endif
