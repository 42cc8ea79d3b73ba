#ifndef TRACE_INDEX_TIMECOUNTER_H
#define TRACE_INDEX_TIMECOUNTER_H

#include <array>
#include <cstdint>
#include <utility>

#include "trace/index/TimeTable.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// Counts the records of a trace into a time table, batch by batch.
//
// The records of a cell mostly follow each other, so they are counted in a few lines of the
// processor's cache, which the table gets when another cell begins.
class TimeCounter {
 public:
  // Adds to what a table counted already.
  explicit TimeCounter(TimeTable table = TimeTable()) : table(std::move(table)) {
    smallSlots.fill(UNKNOWN);
  }

  void Add(const Columns& columns);

  // The table of all that was added.
  const TimeTable& Get();

  // Forgets it, see TimeTable::Clear.
  void Clear();

 private:
  // Threads by number, for those that have a small one, as most have.
  static constexpr uint32_t SMALL = 64;
  static constexpr uint8_t UNKNOWN = 0xFF;

  // Records of the same kind that follow each other are counted in different places, so that one
  // need not wait for the other.
  static constexpr size_t LANES = 4;
  static constexpr size_t WIDTH = 4;  // counters of a slot: the types, and one that stays 0
  typedef std::array<uint32_t, TimeTable::SLOTS * WIDTH> Lane;

  // From so many records of a cell on it is worth while to clear the counters.
  static constexpr size_t LONG_RUN = 24;

  size_t SlotOf(uint32_t thread);
  size_t LearnThread(uint32_t thread);
  size_t EndOfCell(const Columns& columns, size_t from) const;
  bool IsPending(uint64_t cycle) const;
  void Flush();

  TimeTable table;
  std::array<uint8_t, SMALL> smallSlots;
  uint64_t pendingCycle = 0;    // a cycle of the cell
  uint64_t pendingRecords = 0;  // in the lanes
  std::array<Lane, LANES> lanes = {};
};

}  // namespace marrowfin

#endif
