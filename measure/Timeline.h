#ifndef MEASURE_TIMELINE_H
#define MEASURE_TIMELINE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "trace/base/Record.h"

namespace marrowfin {

// A range of cycles in columns of equal width; the last may be narrower.
struct TimeColumns {
  uint64_t first = 0;
  uint64_t last = 0;  // included
  uint64_t width = 1;

  // As few cycles a column as make at most `most` columns; `last` is not before `first`.
  static TimeColumns AtMost(uint64_t first, uint64_t last, size_t most);

  // The same with columns of 1, 2 or 5 times a power of ten cycles.
  static TimeColumns Round(uint64_t first, uint64_t last, size_t most);

  size_t Count() const { return static_cast<size_t>((last - first) / width) + 1; }
  uint64_t FirstOf(size_t column) const { return first + column * width; }

  // Cycles of a column.
  uint64_t WidthOf(size_t column) const {
    const uint64_t left = last - FirstOf(column);
    return left < width ? left + 1 : width;
  }
};

// How many records of each type, and fires of each thread, every column of a range has. Records
// outside the range are not counted.
class Timeline {
 public:
  // Threads that are told apart: those with the lowest numbers, whatever comes first, so that the
  // answer is the same in however many pieces a trace is counted. All others are counted together.
  static constexpr size_t MOST_THREADS = 256;

  explicit Timeline(const TimeColumns& columns);

  void Add(uint32_t type, uint64_t cycle, uint32_t thread) {
    if ((cycle < begin || cycle > end) && !FindColumn(cycle)) {
      return;
    }
    ++types[type - SWITCH_RECORD][column];
    if (type == FIRE_RECORD) {
      ++Of(thread)[column];
    }
  }
  void Add(const Timeline& other);

  // So many records of a column; without a thread, of those that are not told apart.
  void AddRecords(std::optional<uint32_t> thread, uint32_t type, size_t toColumn, uint64_t count);

  // Shows all that was counted, see CountsBytes.
  template <class Visitor>
  void Visit(Visitor& visitor) {
    for (std::vector<uint64_t>& type : types) {
      visitor.Records(type);
    }
    std::vector<uint32_t> known = Threads();
    visitor.Numbers(known, MOST_THREADS);
    for (const uint32_t thread : known) {
      visitor.Records(Of(thread));
    }
    visitor.Records(others);
  }

  const TimeColumns& Columns() const { return columns; }

  // One count for each column; of a RecordType.
  const std::vector<uint64_t>& OfType(uint32_t type) const { return types[type - SWITCH_RECORD]; }

  // Fires. Threads in ascending order; `others` has those that are not told apart.
  std::vector<uint32_t> Threads() const;
  const std::vector<uint64_t>& OfThread(uint32_t thread) const { return threads[slots.at(thread)]; }
  const std::vector<uint64_t>& OfOthers() const { return others; }

 private:
  bool FindColumn(uint64_t cycle);
  std::vector<uint64_t>& FindThread(uint32_t thread);
  size_t SlotForNew(uint32_t thread);
  std::vector<uint64_t>& Of(uint32_t thread) {
    const Met& known = met[thread % met.size()];
    return known.thread == thread && known.slot < threads.size() ? threads[known.slot]
                                                                 : FindThread(thread);
  }

  TimeColumns columns;
  std::vector<uint64_t> types[RECORD_TYPES];
  std::map<uint32_t, size_t> slots;
  std::vector<std::vector<uint64_t>> threads;
  std::vector<uint64_t> others;

  // The column of the record before: records come in the order of their cycles, mostly.
  size_t column = 0;
  uint64_t begin = 0;
  uint64_t end = 0;  // the last cycle

  // Slots of threads that were met: threads take turns, and looking them up takes longer than
  // counting. A slot that is none yet stands for no thread.
  struct Met {
    uint32_t thread = 0;
    size_t slot = MOST_THREADS;
  };
  std::array<Met, 64> met = {};
};

}  // namespace marrowfin

#endif
