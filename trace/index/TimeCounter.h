#ifndef TRACE_INDEX_TIMECOUNTER_H
#define TRACE_INDEX_TIMECOUNTER_H

#include <array>
#include <cstdint>
#include <vector>

#include "trace/index/TimeTable.h"
#include "trace/read/Columns.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// Counts the records of a trace into a time table, batch by batch, beside a summarizer.
//
// The summarizer counts by thread and type anyway. So batches that lie whole in the cell of the one
// before cost nothing here: what they brought is what the summarizer counted meanwhile, and the
// table gets it when another cell begins. Only the batches in which one does, or in which a thread
// is met for the first time, are gone through record by record.
class TimeCounter {
 public:
  // Adds to what a table counted already; the summarizer has counted all that is in it.
  explicit TimeCounter(TimeTable table = TimeTable(), const Summarizer& summarizer = Summarizer());

  // Takes the batch that was added to the summarizer last. It is always the same summarizer.
  void Add(const Columns& columns, const Summarizer& summarizer);

  // The table of all that was added.
  const TimeTable& Get();

  // Forgets it, see TimeTable::ClearFor.
  void ClearFor(const TimeTable& before);

 private:
  // The columns of threads with a small number, as most have.
  static constexpr uint8_t UNKNOWN = 0xFF;
  static_assert(TimeTable::COLUMNS <= UNKNOWN);

  uint8_t ColumnOf(uint32_t thread, const Summarizer& summarizer);
  uint8_t LearnThread(uint32_t thread, const Summarizer& summarizer);
  bool BringsThread(const Summarizer& summarizer) const;
  bool IsInPendingCell(const Columns& columns) const;
  TimeTable::Sums CountsOf(const Summarizer& summarizer) const;
  void AddOneByOne(const Columns& columns, const Summarizer& summarizer);
  void Flush();

  TimeTable table;
  std::array<uint8_t, Summary::SMALL_THREADS> smallColumns;
  std::array<size_t, TimeTable::THREADS> summarySlots;  // of the threads told apart
  size_t largeThreads = 0;                              // that were met
  TimeTable::Sums counted;      // what the summarizer had counted up to the last batch, modulo 2^64
  TimeTable::Sums inTable;      // and how much of that the table has
  uint64_t pendingCycle = 0;    // a cycle of the cell to which the rest belongs
  uint64_t pendingRecords = 0;  // the rest
};

}  // namespace marrowfin

#endif
