#include "trace/index/TimeCounter.h"

#include <limits>
#include <utility>

namespace marrowfin {

size_t TimeCounter::SlotOf(uint32_t thread) {
  const uint8_t slot = thread < SMALL ? smallSlots[thread] : UNKNOWN;
  return slot != UNKNOWN ? slot : LearnThread(thread);
}

size_t TimeCounter::LearnThread(uint32_t thread) {
  const size_t slot = table.AddThread(thread);
  if (thread < SMALL) {
    smallSlots[thread] = static_cast<uint8_t>(slot);
  }
  return slot;
}

// The first record from `from` on that lies in another cell than that one.
size_t TimeCounter::EndOfCell(const Columns& columns, size_t from) const {
  const auto isOther = [&](size_t i) {
    return (columns.cycle[i] ^ columns.cycle[from]) >> table.Shift() != 0;
  };
  if (!columns.fell && !isOther(columns.size - 1)) {
    return columns.size;
  }
  size_t end = from + 1;
  while (end < columns.size && !isOther(end)) {
    ++end;
  }
  return end;
}

// Cells only ever grow, so the records of one stay together.
bool TimeCounter::IsPending(uint64_t cycle) const {
  return (cycle ^ pendingCycle) >> table.Shift() == 0;
}

void TimeCounter::Add(const Columns& columns) {
  for (size_t from = 0; from < columns.size;) {
    const uint64_t cycle = columns.cycle[from];
    const size_t end = EndOfCell(columns, from);
    if (end - from < LONG_RUN && !IsPending(cycle)) {
      for (size_t i = from; i < end; ++i) {
        const Columns::Tag tag = columns.tag[i];
        table.Add(cycle, TimeTable::ColumnOf(SlotOf(tag.thread), TimeTable::TypeOf(tag.type)), 1);
      }
    } else {
      if (!IsPending(cycle) || pendingRecords > std::numeric_limits<uint32_t>::max() / 2) {
        Flush();
        pendingCycle = cycle;
      }
      for (size_t i = from; i < end; ++i) {
        const Columns::Tag tag = columns.tag[i];
        ++lanes[i % LANES][SlotOf(tag.thread) * WIDTH + TimeTable::TypeOf(tag.type)];
      }
      pendingRecords += end - from;
    }
    from = end;
  }
}

void TimeCounter::Flush() {
  if (pendingRecords == 0) {
    return;
  }
  const size_t known = table.Threads().size();
  for (size_t i = 0; i <= known; ++i) {
    const size_t slot = i < known ? i : TimeTable::OTHERS;
    for (size_t type = 0; type < TimeTable::TYPES; ++type) {
      uint64_t records = 0;
      for (Lane& lane : lanes) {
        records += std::exchange(lane[slot * WIDTH + type], 0);
      }
      if (records > 0) {
        table.Add(pendingCycle, TimeTable::ColumnOf(slot, type), records);
      }
    }
  }
  pendingRecords = 0;
}

const TimeTable& TimeCounter::Get() {
  Flush();
  return table;
}

void TimeCounter::Clear() {
  Flush();
  table.Clear();
}

}  // namespace marrowfin
