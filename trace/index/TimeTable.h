#ifndef TRACE_INDEX_TIMETABLE_H
#define TRACE_INDEX_TIMETABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "trace/base/Record.h"

namespace marrowfin {

class ByteReader;
class ByteWriter;

// How many records of each type and thread a trace has over time: in cells of 2^Shift() cycles
// each, of which there are never more than a bound. Where the trace outgrows them, each two become
// one, so the memory is that of the bound however long the trace, and the cells are always as
// narrow as the bound allows: they follow from the cycles of the trace alone, not from the order of
// its records.
//
// Records are counted by the cycle that they bear, also where cycles fall. Cells are numbered from
// cycle 0 on, so that cell n of a table lies in cell n / 2 of one that is half as fine. Cells of
// equal numbers of records were rejected: their edges suit nobody's bins, and a cycle may hold a
// million records. Sums over both types and threads beside the counts were rejected: adding up
// takes less time than reading them. The counts of a cell lie together, since a trace brings one
// cell after the other; by thread and type they would be a page apart and all fall on the same
// lines of the processor's cache.
//
// Any number of threads may read at a time, or one write.
class TimeTable {
 public:
  static constexpr size_t CELLS = 16384;  // at most

  static constexpr size_t TYPES = 3;
  static constexpr size_t TypeOf(uint32_t recordType) { return recordType - SWITCH_RECORD; }

  // Threads told apart: those of which the first records are met, whatever their numbers, so that
  // neither the memory nor a question about all threads grows with the trace. All others are
  // counted together. Those with the most records would be better to know, but only the end of the
  // trace tells which they are, and what was counted together cannot be taken apart.
  static constexpr size_t THREADS = 16;
  static constexpr size_t OTHERS = THREADS;  // the slot of all others
  static constexpr size_t SLOTS = THREADS + 1;

  // The counts of a slot and type over time are a column. Slots begin at multiples of a power of
  // two, which are the quicker to find; the last column of each stays empty.
  static constexpr size_t SLOT_COLUMNS = 4;
  static constexpr size_t COLUMNS = SLOTS * SLOT_COLUMNS;
  static constexpr size_t ColumnOf(size_t slot, size_t type) { return slot * SLOT_COLUMNS + type; }

  // `cells` is a power of two, from 2 to CELLS.
  explicit TimeTable(size_t cells = CELLS) : capacity(cells) {}

  // The slot of a thread, which gets one of its own if it has none and there is one left.
  size_t AddThread(uint32_t thread);

  // Adds so many records (at least one) of a cycle.
  void Add(uint64_t cycle, size_t column, uint64_t records);

  // Adds records, each by its cycle and its column. `rising` tells that no cycle is below the one
  // before.
  void AddEach(std::span<const uint64_t> cycles, std::span<const uint8_t> recordColumns,
               bool rising = false);

  // Adds what another table counted, whose threads are the first of this one or the other way
  // around; false, with nothing added, where they are not.
  [[nodiscard]] bool Merge(const TimeTable& other);

  // Forgets all records, but not the threads, so that what is counted from now on can be merged
  // into the table of what came before; the cells become as wide as those of that one, if they are
  // not. Costs what there is to forget.
  void ClearFor(const TimeTable& before);

  // The threads told apart, by slot.
  std::span<const uint32_t> Threads() const { return threads; }

  // The slot in which a thread is counted.
  size_t SlotOf(uint32_t thread) const;

  unsigned Shift() const { return shift; }  // cells are of 2^Shift() cycles; below 64

  // The first cell that has records, and how many there are from it to the last one; 0 of an empty
  // trace. What follows counts them from the first one on.
  uint64_t First() const { return first; }
  size_t Cells() const { return cells; }

  // The first cycle of a cell; the last one of the cell is 2^Shift() - 1 above.
  uint64_t CycleOf(size_t cell) const { return (first + cell) << shift; }

  uint64_t Count(size_t column, size_t cell) const;

  // The records of all types and threads in a cell.
  uint64_t Records(size_t cell) const;

  // Adds to each column the counts of the cells from one up to, and without, another one.
  typedef std::array<uint64_t, COLUMNS> Sums;
  void AddCells(size_t from, size_t to, Sums& sums) const;

  // As bytes, see docs/index-format.md.
  std::vector<uint8_t> Encode() const;

  // The most bytes that Encode makes.
  static constexpr size_t LARGEST = 1024 + SLOTS * TYPES * (1 + sizeof(uint64_t) * CELLS);

  // Nothing where the bytes are no table.
  static std::optional<TimeTable> Decode(std::span<const uint8_t> bytes);

 private:
  static constexpr unsigned HALF = 32;  // bits

  // The counts of cells in rows, those of all other threads first and then slot by slot, so that a
  // row only grows where a thread is met. There are as many rows as the cells need, rounded up to a
  // power of two: cell n is in row n modulo their number, so that the table moves on either way
  // without moving what it holds. The upper halves of the counts are there once there is any that
  // needs one: a cell with 2^32 records is rare.
  struct Rows {
    size_t count = 0;
    size_t width = 0;
    std::vector<uint32_t> low;
    std::vector<uint32_t> high;
    uint64_t added = 0;  // at least as much as any count

    size_t At(uint64_t cell) const { return static_cast<size_t>(cell & (count - 1)) * width; }
    uint64_t Get(size_t at) const {
      return (high.empty() ? 0 : static_cast<uint64_t>(high[at]) << HALF) | low[at];
    }
    void Expect(uint64_t records);
    void Add(size_t at, uint64_t records);
    void AddLow(size_t at, std::span<const uint32_t> counts);
    void AddRow(size_t at, const Rows& other, size_t from);
    void Fold(size_t from, size_t rowCount, unsigned by);
  };

  // Where a column is in a row.
  static constexpr size_t InRow(size_t column) {
    return column < COLUMNS - SLOT_COLUMNS ? column + SLOT_COLUMNS
                                           : column - (COLUMNS - SLOT_COLUMNS);
  }
  size_t Width() const { return (threads.size() + 1) * SLOT_COLUMNS; }
  void MakeRoom(uint64_t cycle);
  void Coarsen(unsigned by);
  void Move(size_t cellCount, unsigned by);
  void EncodeColumn(size_t column, ByteWriter& out) const;
  void DecodeColumn(ByteReader& in, size_t column);

  // The columns that are written, in their order: those of the threads and then of all others.
  size_t FileColumns() const { return (threads.size() + 1) * TYPES; }
  size_t FromFile(size_t column) const;

  size_t capacity;
  unsigned shift = 0;
  uint64_t first = 0;
  size_t cells = 0;
  std::vector<uint32_t> threads;
  Rows rows;
};

}  // namespace marrowfin

#endif
