#include "trace/read/Summary.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace marrowfin {

namespace {

// Both sides rounded up to powers of two; none at all are none.
Extent RoomFor(const Extent& extent) {
  return extent.columns == 0 ? Extent{}
                             : Extent{std::bit_ceil(extent.columns), std::bit_ceil(extent.rows)};
}

}  // namespace

size_t Summary::ThreadSlot(uint32_t thread) const {
  if (thread < SMALL_THREADS) {
    return 1 + thread;
  }
  const auto found = std::find(largeThreads.begin(), largeThreads.end(), thread);
  return found == largeThreads.end()
             ? OTHER_THREADS
             : 1 + SMALL_THREADS + static_cast<size_t>(found - largeThreads.begin());
}

Summarizer::Summarizer(const Summary& start) : summary(start) {
  threadCounts.resize(RECORD_TYPES * summary.ThreadSlots());
  for (size_t i = 0; i < summary.largeThreads.size(); ++i) {
    largeSlots[summary.largeThreads[i]] = 1 + Summary::SMALL_THREADS + i;
  }
  threadCounts[RECORD_TYPES * Summary::OTHER_THREADS] = summary.otherThreads;
  for (const auto& [thread, count] : summary.threads) {
    const size_t slot = thread < Summary::SMALL_THREADS ? 1 + thread : largeSlots[thread];
    threadCounts[RECORD_TYPES * slot] = count;
  }
  for (const Place& place : summary.switchPlaces) {
    switchPlaces.Add(place);
  }
}

void Summarizer::Add(const Columns& columns) {
  for (size_t i = 0; i < columns.size; ++i) {
    AddThread(columns.tag[i].thread, columns.tag[i].type, 1);
  }
  AddAllButThreads(columns);
}

void Summarizer::AddAllButThreads(const Columns& columns) {
  if (columns.size == 0) {
    return;
  }
  AddCycles(columns);
  const bool firesKnown = columns.Fires() == 0 || summary.fired.Has(columns.maxFired);
  const bool endsKnown = columns.sends == 0 ||
                         (summary.sent.Has(columns.maxSent) && summary.array.Has(columns.maxSent));
  if (!firesKnown || !endsKnown) {
    AddPlaces(columns);
  }
  transmissionCount = 0;
  if (columns.switches > 0) {
    AddSwitches(columns);
  }
  summary.records += columns.size;
  summary.switches += columns.switches;
  summary.fires += columns.Fires();
  summary.sends += columns.sends;
  summary.bytes += columns.Bytes();
}

void Summarizer::AddCycles(const Columns& columns) {
  const uint64_t first = columns.cycle[0];
  if (summary.records == 0) {
    summary.firstCycle = first;
    summary.lastCycle = first;
  }
  summary.changes += columns.changes + (first != summary.lastCycle ? 1 : 0);
  if (columns.fell || first < summary.lastCycle) {
    AddFalls(columns);
  }
  summary.lastCycle = columns.cycle[columns.size - 1];
  summary.maxCycle = std::max(summary.maxCycle, summary.lastCycle);
}

void Summarizer::AddFalls(const Columns& columns) {
  uint64_t last = summary.lastCycle;
  for (size_t i = 0; i < columns.size; ++i) {
    if (columns.cycle[i] < last) {
      summary.firstFall = summary.falls == 0 ? summary.records + i : summary.firstFall;
      ++summary.falls;
    }
    last = columns.cycle[i];
    summary.maxCycle = std::max(summary.maxCycle, last);
  }
}

void Summarizer::AddThread(uint32_t thread, uint32_t recordType, uint64_t records) {
  const size_t slot = thread < Summary::SMALL_THREADS ? 1 + size_t{thread} : LargeSlot(thread);
  threadCounts[RECORD_TYPES * slot + recordType - SWITCH_RECORD] += records;
}

// The slot of a large thread, which gets one while there is room.
size_t Summarizer::LargeSlot(uint32_t thread) {
  const auto found = largeSlots.find(thread);
  if (found != largeSlots.end()) {
    return found->second;
  }
  if (summary.largeThreads.size() >= Summary::MAX_THREADS) {
    return Summary::OTHER_THREADS;
  }
  const size_t slot = summary.ThreadSlots();
  summary.largeThreads.push_back(thread);
  largeSlots.emplace(thread, slot);
  threadCounts.resize(RECORD_TYPES * (slot + 1));
  return slot;
}

// Record by record, so that what is far does not depend on how the records lie in batches.
void Summarizer::AddPlaces(const Columns& columns) {
  for (size_t i = 0; i < columns.size; ++i) {
    if (columns.tag[i].type == FIRE_RECORD) {
      summary.fired.Include(columns.at[i]);
      summary.array.Include(columns.at[i]);
    } else if (columns.tag[i].type == SEND_RECORD) {
      AddEnd(columns.at[i]);
      AddEnd(columns.to[i]);
    }
  }
}

void Summarizer::AddEnd(Place end) {
  summary.sent.Include(end);
  if (IsNear(end)) {
    summary.array.Include(end);
    return;
  }
  ++summary.far.count;
  if (end.column >= RoomFor(summary.array).columns) {
    summary.far.column = std::min<uint64_t>(summary.far.column, end.column);
  } else {
    summary.far.row = std::min<uint64_t>(summary.far.row, end.row);
  }
}

// What has room in the array as it is, both sides rounded up, is near; so far ends lie outside.
bool Summarizer::IsNear(Place end) const {
  if (RoomFor(summary.array).Has(end)) {
    return true;
  }
  const uint64_t side =
      std::bit_ceil(std::max({summary.fired.columns, summary.fired.rows, Summary::SMALLEST_SIDE}));
  Extent larger = summary.array;
  larger.Include(end);
  const Extent room = RoomFor(larger);
  return end.column < side && end.row < side && room.columns <= Summary::LARGEST_BY_ENDS &&
         room.rows <= Summary::LARGEST_BY_ENDS / room.columns;
}

// Types follow each other at random as far as a processor can tell, so the switches are picked out
// without a branch: every record is noted, and the next one overwrites it unless it counts.
void Summarizer::AddSwitches(const Columns& columns) {
  size_t found = 0;
  for (size_t i = 0; i < columns.size; ++i) {
    transmissions[found].record = static_cast<uint32_t>(i);
    found += columns.tag[i].type == SWITCH_RECORD;
  }
  for (size_t i = 0; i < found; ++i) {
    const Place place = columns.at[transmissions[i].record];
    const bool room = switchPlaces.Places().size() < Summary::MAX_SWITCHES;
    transmissions[i].slot = room ? switchPlaces.Add(place) : switchPlaces.Find(place);
    summary.switchesComplete &= transmissions[i].slot != PlaceTable::NONE;
  }
  transmissionCount = found;
}

void Summarizer::Finish() {
  const auto recordsOf = [&](size_t slot) {
    const auto first = threadCounts.begin() + static_cast<ptrdiff_t>(RECORD_TYPES * slot);
    return std::accumulate(first, first + RECORD_TYPES, uint64_t{0});
  };
  summary.otherThreads = recordsOf(Summary::OTHER_THREADS);
  for (uint32_t thread = 0; thread < Summary::SMALL_THREADS; ++thread) {
    if (const uint64_t records = recordsOf(1 + thread); records != 0) {
      summary.threads[thread] = records;
    }
  }
  for (const auto& [thread, slot] : largeSlots) {
    summary.threads[thread] = recordsOf(slot);
  }
  summary.switchPlaces = switchPlaces.Places();
}

}  // namespace marrowfin
