#ifndef TRACE_INDEX_COUNTERSERIES_H
#define TRACE_INDEX_COUNTERSERIES_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace marrowfin {

// What a step function does over some cycles: its lowest and highest value there, and the sum of
// its values over the cycles. A value that is replaced in the cycle in which it came does not
// count.
struct CounterSpan {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  double sum = 0;
  uint64_t cycles = 0;  // in which it has a value; of all there are one less

  // Adds a value that it has for some cycles.
  void Add(double value, uint64_t forCycles) {
    if (forCycles > 0) {
      low = value < low ? value : low;
      high = value > high ? value : high;
      sum += value * static_cast<double>(forCycles);
      cycles = Sum(cycles, forCycles);
    }
  }

  void Add(const CounterSpan& other) {
    low = other.low < low ? other.low : low;
    high = other.high > high ? other.high : high;
    sum += other.sum;
    cycles = Sum(cycles, other.cycles);
  }

 private:
  static uint64_t Sum(uint64_t a, uint64_t b) { return a + std::min(b, ~a); }
};

// A counter at a place over time, with as many details as there is room for: in cells of
// 2^Shift() cycles, of which only those with samples are kept, since in any other the counter has
// the value that it had before. Where there are more than a bound, each two become one: the memory
// is that of the bound however long the run.
//
// Any number of threads may read at a time, or one write.
class CounterSeries {
 public:
  struct Cell {
    uint64_t number = 0;  // it begins with cycle number << Shift()
    CounterSpan span;     // of the last cell only up to the last sample
    double last = 0;      // the value behind the last sample of the cell
  };

  static constexpr size_t MOST_CELLS = 16384;

  explicit CounterSeries(size_t cells = MOST_CELLS) : capacity(cells) {}

  // The counter has a value from a cycle on. A cycle below that of the sample before is none of a
  // step function: nothing is known of the counter then.
  void Add(uint64_t cycle, double value);

  // From now on there are at most so many cells, at least 2.
  void Limit(size_t cells);

  bool Falls() const { return falls; }
  bool IsEmpty() const { return cells.empty(); }
  uint64_t Begin() const { return begin; }  // the cycle of the first sample
  uint64_t Since() const { return since; }  // and of the last
  unsigned Shift() const { return shift; }
  std::span<const Cell> Cells() const { return cells; }

  // The last cell at or before the one that holds a cycle; Cells().size() where there is none.
  size_t CellAt(uint64_t cycle) const;

  // As bytes, see docs/companion-format.md.
  std::vector<uint8_t> Encode() const;

  // The most bytes that Encode makes.
  static constexpr size_t LARGEST = 64 + MOST_CELLS * (10 + 10 + 4 * sizeof(double));

  // Nothing where the bytes are no series.
  static std::optional<CounterSeries> Decode(std::span<const uint8_t> bytes);

 private:
  void Open(uint64_t number);
  void Coarsen();

  size_t capacity;
  bool falls = false;
  unsigned shift = 0;
  uint64_t begin = 0;
  uint64_t since = 0;
  std::vector<Cell> cells;
};

}  // namespace marrowfin

#endif
