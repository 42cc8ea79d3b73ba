#include "trace/ask/Selection.h"

#include <algorithm>
#include <numeric>

namespace marrowfin {

TraceEvent Selection::Event(size_t i) const {
  const size_t row = rows[i];
  return {Record(i),        columns->cycle[row], columns->tag[row].thread, columns->tag[row].type,
          columns->at[row], columns->to[row]};
}

void Selection::GetOffsets(std::span<uint64_t> offsets) const {
  uint64_t offset = columns->firstOffset;
  size_t row = 0;
  for (size_t i = 0; i < rows.size(); ++i) {
    for (; row < rows[i]; ++row) {
      offset += RecordSize(columns->tag[row].type);
    }
    offsets[i] = offset;
  }
}

Selector::Selector(const EventFilter& filter)
    : filter(filter),
      others(filter.without.begin(), filter.without.end()),
      everything(filter.HasEveryType() && filter.HasEveryThread() && !filter.region &&
                 filter.HasEveryCycle() && others.empty()) {
  std::iota(rows.begin(), rows.end(), uint16_t{0});
}

std::span<const uint16_t> Selector::Select(const Columns& columns, size_t from, size_t to) {
  if (everything) {
    return std::span<const uint16_t>(rows).subspan(from, to - from);
  }
  MarkTypes(columns);
  if (filter.thread) {
    MarkThread(columns);
  }
  if (!filter.threads.empty()) {
    MarkThreads(columns);
  }
  if (!filter.HasEveryCycle()) {
    MarkCycles(columns);
  }
  if (filter.region) {
    MarkRegion(columns);
  }
  UnmarkOthers(columns, from, to);
  // Every row is noted, and the next one overwrites it unless it counts.
  size_t found = 0;
  for (size_t row = from; row < to; ++row) {
    rows[found] = static_cast<uint16_t>(row);
    found += marks[row];
  }
  return std::span<const uint16_t>(rows).first(found);
}

void Selector::MarkTypes(const Columns& columns) {
  const uint32_t wanted = (filter.switches ? 1U << SWITCH_RECORD : 0) |
                          (filter.fires ? 1U << FIRE_RECORD : 0) |
                          (filter.sends ? 1U << SEND_RECORD : 0);
  for (size_t i = 0; i < columns.size; ++i) {
    marks[i] = static_cast<uint8_t>(wanted >> columns.tag[i].type & 1);
  }
}

void Selector::MarkThread(const Columns& columns) {
  const uint32_t thread = *filter.thread;
  for (size_t i = 0; i < columns.size; ++i) {
    marks[i] = static_cast<uint8_t>(marks[i] & (columns.tag[i].thread == thread));
  }
}

void Selector::MarkThreads(const Columns& columns) {
  Marks wanted;
  wanted.fill(0);
  for (const ThreadRange& range : filter.threads) {
    for (size_t i = 0; i < columns.size; ++i) {
      const uint32_t thread = columns.tag[i].thread;
      wanted[i] =
          static_cast<uint8_t>(wanted[i] | ((thread >= range.first) & (thread <= range.last)));
    }
  }
  for (size_t i = 0; i < columns.size; ++i) {
    marks[i] &= wanted[i];
  }
}

// Takes the marks of the rows `from` up to `to` away that others let through.
void Selector::UnmarkOthers(const Columns& columns, size_t from, size_t to) {
  const auto rowOf = [&](uint64_t record) {
    const uint64_t row = record - std::min(record, columns.firstRecord);
    return static_cast<size_t>(std::clamp<uint64_t>(row, from, to));
  };
  for (Selector& other : others) {
    const size_t first = rowOf(other.filter.firstRecord);
    const size_t last = std::max(first, rowOf(other.filter.lastRecord));
    for (const uint16_t row : other.Select(columns, first, last)) {
      marks[row] = 0;
    }
  }
}

void Selector::MarkCycles(const Columns& columns) {
  for (size_t i = 0; i < columns.size; ++i) {
    marks[i] = static_cast<uint8_t>(marks[i] & (columns.cycle[i] >= filter.firstCycle) &
                                    (columns.cycle[i] <= filter.lastCycle));
  }
}

void Selector::MarkRegion(const Columns& columns) {
  const Region region = *filter.region;
  const auto has = [&](Place place) {
    return (place.column >= region.first.column) & (place.column <= region.last.column) &
           (place.row >= region.first.row) & (place.row <= region.last.row);
  };
  for (size_t i = 0; i < columns.size; ++i) {
    const int received = (columns.tag[i].type == SEND_RECORD) & has(columns.to[i]);
    marks[i] = static_cast<uint8_t>(marks[i] & (has(columns.at[i]) | received));
  }
}

}  // namespace marrowfin
