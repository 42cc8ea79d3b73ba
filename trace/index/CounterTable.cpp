#include "trace/index/CounterTable.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace marrowfin {

const CounterSeries* CounterTable::Find(const CounterKey& key) const {
  const auto found = byKey.find(key);
  return found == byKey.end() ? nullptr : &found->second->series;
}

// Shares the cells anew among all series of a kind, now that there is one more.
void CounterTable::MakeRoom(bool all) {
  const size_t cells = all ? limits.cells / 4 : limits.cells;
  const size_t most = all ? CounterSeries::MOST_CELLS : limits.seriesCells;
  const size_t part = std::clamp(std::bit_floor(cells / kept[all]), limits.leastCells, most);
  if (part == share[all]) {
    return;
  }
  share[all] = part;
  for (Entry& entry : entries) {
    if (entry.key.all == all) {
      entry.series.Limit(part);
    }
  }
}

// Null where there are too many.
CounterTable::Entry* CounterTable::Get(const CounterKey& key) {
  const auto found = byKey.find(key);
  if (found != byKey.end()) {
    return found->second;
  }
  if (!key.all && kept[0] == limits.series) {
    whole = false;
    return nullptr;
  }
  ++kept[key.all];
  MakeRoom(key.all);
  entries.push_back({key, CounterSeries(share[key.all]), 0});
  byKey[key] = &entries.back();
  return &entries.back();
}

void CounterTable::Put(const CounterKey& key, CounterSeries series) {
  if (Entry* entry = Get(key)) {
    entry->value = series.IsEmpty() ? 0 : series.Cells().back().last;
    entry->series = std::move(series);
    entry->series.Limit(share[key.all]);
  }
}

void CounterTable::Add(const CounterSample& sample) {
  Entry* const entry = Get({sample.counter, false, sample.at});
  if (entry == nullptr) {
    return;
  }
  // There is one of each counter, and of counters there is a bound.
  Entry* const sum = Get({sample.counter, true, {}});
  entry->series.Add(sample.cycle, sample.value);
  sum->value += sample.value - entry->value;
  sum->series.Add(sample.cycle, sum->value);
  entry->value = sample.value;
}

}  // namespace marrowfin
