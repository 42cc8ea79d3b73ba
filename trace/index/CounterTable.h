#ifndef TRACE_INDEX_COUNTERTABLE_H
#define TRACE_INDEX_COUNTERTABLE_H

#include <compare>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>

#include "trace/base/NotesFormat.h"
#include "trace/base/Place.h"
#include "trace/index/CounterSeries.h"

namespace marrowfin {

// A counter at a place, or its sum over all places.
struct CounterKey {
  uint32_t counter = 0;
  bool all = false;
  Place at;  // (0, 0) for the sum
  friend bool operator==(const CounterKey&, const CounterKey&) = default;
};

struct CounterKeyHash {
  size_t operator()(const CounterKey& key) const {
    const uint64_t place = static_cast<uint64_t>(key.at.column) << 32 | key.at.row;
    const uint64_t which = uint64_t{key.counter} << 1 | (key.all ? 1 : 0);
    return static_cast<size_t>((place ^ which * 0x9E3779B97F4A7C15) * 0xD6E8FEB86659FD93 >> 7);
  }
};

// All counters of a run over time, out of their samples. However many there are of them and of
// samples, there are never more cells than a bound: the more counters and places, the wider are the
// cells of each. Of counters at more places than are kept nothing is known, nor of their sums.
//
// A place that has had no sample yet counts as 0 in a sum. Where the cycles of a counter's samples
// fall from one place to another, as they may, its sum is not known.
//
// Any number of threads may read at a time, or one write.
class CounterTable {
 public:
  struct Limits {
    size_t series = 65536;      // counters and places, without the sums
    size_t cells = 1 << 20;     // of them together; those of the sums take a quarter as many
    size_t seriesCells = 4096;  // of one; a power of two
    size_t leastCells = 16;     // likewise
  };

  struct Entry {
    CounterKey key;
    CounterSeries series;
    double value = 0;  // that it has now
  };

  explicit CounterTable(const Limits& limits) : limits(limits) {}
  CounterTable() : CounterTable(Limits()) {}

  void Add(const CounterSample& sample);

  // Whether all counters and places are kept.
  bool IsWhole() const { return whole; }

  const std::deque<Entry>& Entries() const { return entries; }

  // Null where there is none.
  const CounterSeries* Find(const CounterKey& key) const;

  // Takes up a series of a table that was kept, before all else.
  void Put(const CounterKey& key, CounterSeries series);
  void SetWhole(bool isWhole) { whole = isWhole; }

 private:
  Entry* Get(const CounterKey& key);
  void MakeRoom(bool all);

  Limits limits;
  bool whole = true;
  size_t kept[2] = {};  // series of places, and sums
  size_t share[2] = {CounterSeries::MOST_CELLS, CounterSeries::MOST_CELLS};  // cells of each
  std::deque<Entry> entries;  // which stay where they are
  std::unordered_map<CounterKey, Entry*, CounterKeyHash> byKey;
};

}  // namespace marrowfin

#endif
