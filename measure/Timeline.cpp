#include "measure/Timeline.h"

#include <iterator>

namespace marrowfin {
namespace {

void AddUp(std::vector<uint64_t>& sum, const std::vector<uint64_t>& more) {
  for (size_t i = 0; i < sum.size(); ++i) {
    sum[i] += more[i];
  }
}

// The width behind 1, 2, 5, 10, 20, ...; the same one where 64 bits do not hold it.
uint64_t NextRound(uint64_t width) {
  uint64_t lead = width;
  while (lead >= 10) {
    lead /= 10;
  }
  const uint64_t next = lead == 2 ? width / 2 * 5 : width * 2;
  return next / 2 >= width / 2 && next > width ? next : width;
}

}  // namespace

TimeColumns TimeColumns::AtMost(uint64_t first, uint64_t last, size_t most) {
  // The number of cycles is one more than what fits 64 bits at most, so it is not written down.
  return {first, last, (last - first) / most + 1};
}

TimeColumns TimeColumns::Round(uint64_t first, uint64_t last, size_t most) {
  TimeColumns columns = {first, last, 1};
  while ((last - first) / columns.width >= most && NextRound(columns.width) > columns.width) {
    columns.width = NextRound(columns.width);
  }
  return columns;
}

Timeline::Timeline(const TimeColumns& columns)
    : columns(columns), others(columns.Count()), begin(columns.first), end(columns.first) {
  for (std::vector<uint64_t>& type : types) {
    type.resize(columns.Count());
  }
  end = columns.FirstOf(0) + columns.WidthOf(0) - 1;
}

bool Timeline::FindColumn(uint64_t cycle) {
  if (cycle < columns.first || cycle > columns.last) {
    return false;
  }
  column = static_cast<size_t>((cycle - columns.first) / columns.width);
  begin = columns.FirstOf(column);
  end = begin + columns.WidthOf(column) - 1;
  return true;
}

std::vector<uint64_t>& Timeline::FindThread(uint32_t thread) {
  if (slots.size() == MOST_THREADS && thread > slots.rbegin()->first) {
    return others;
  }
  const auto found = slots.find(thread);
  const size_t slot = found != slots.end() ? found->second : SlotForNew(thread);
  met[thread % met.size()] = {thread, slot};
  return threads[slot];
}

// Where there is none left, the highest thread makes room.
size_t Timeline::SlotForNew(uint32_t thread) {
  size_t slot = threads.size();
  if (slots.size() < MOST_THREADS) {
    threads.emplace_back(columns.Count());
  } else {
    const auto highest = std::prev(slots.end());
    slot = highest->second;
    AddUp(others, threads[slot]);
    threads[slot].assign(columns.Count(), 0);
    Met& known = met[highest->first % met.size()];
    known = known.slot == slot ? Met() : known;
    slots.erase(highest);
  }
  slots.emplace(thread, slot);
  return slot;
}

void Timeline::Add(const Timeline& other) {
  for (size_t type = 0; type < RECORD_TYPES; ++type) {
    AddUp(types[type], other.types[type]);
  }
  for (const uint32_t thread : other.Threads()) {
    AddUp(Of(thread), other.OfThread(thread));
  }
  AddUp(others, other.others);
}

void Timeline::AddRecords(std::optional<uint32_t> thread, uint32_t type, size_t toColumn,
                          uint64_t count) {
  types[type - SWITCH_RECORD][toColumn] += count;
  if (type == FIRE_RECORD) {
    (thread ? Of(*thread) : others)[toColumn] += count;
  }
}

std::vector<uint32_t> Timeline::Threads() const {
  std::vector<uint32_t> all;
  for (const auto& [thread, slot] : slots) {
    all.push_back(thread);
  }
  return all;
}

}  // namespace marrowfin
