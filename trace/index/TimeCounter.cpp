#include "trace/index/TimeCounter.h"

#include <limits>
#include <utility>

namespace marrowfin {

TimeCounter::TimeCounter(TimeTable start, const Summarizer& summarizer) : table(std::move(start)) {
  smallColumns.fill(UNKNOWN);
  summarySlots.fill(Summary::OTHER_THREADS);
  const std::span<const uint32_t> known = table.Threads();
  for (size_t slot = 0; slot < known.size(); ++slot) {
    LearnThread(known[slot], summarizer);
  }
  largeThreads = summarizer.Get().largeThreads.size();
  counted = CountsOf(summarizer);
  inTable = counted;
}

uint8_t TimeCounter::ColumnOf(uint32_t thread, const Summarizer& summarizer) {
  const uint8_t column = thread < smallColumns.size() ? smallColumns[thread] : UNKNOWN;
  return column != UNKNOWN ? column : LearnThread(thread, summarizer);
}

// The first column of a thread.
uint8_t TimeCounter::LearnThread(uint32_t thread, const Summarizer& summarizer) {
  const size_t slot = table.AddThread(thread);
  if (slot != TimeTable::OTHERS && summarySlots[slot] == Summary::OTHER_THREADS) {
    summarySlots[slot] = summarizer.Get().ThreadSlot(thread);
  }
  const auto column = static_cast<uint8_t>(TimeTable::ColumnOf(slot, 0));
  if (thread < smallColumns.size()) {
    smallColumns[thread] = column;
  }
  return column;
}

// Whether a thread may have been met that can be told apart, but is not yet.
bool TimeCounter::BringsThread(const Summarizer& summarizer) const {
  if (table.Threads().size() == TimeTable::THREADS) {
    return false;
  }
  bool brings = summarizer.Get().largeThreads.size() > largeThreads;
  for (size_t thread = 0; thread < smallColumns.size(); ++thread) {
    const uint64_t* counts = &summarizer.ThreadCounts()[RECORD_TYPES * (1 + thread)];
    brings |= smallColumns[thread] == UNKNOWN && (counts[0] | counts[1] | counts[2]) != 0;
  }
  return brings;
}

// Cells only ever grow, so the records of one stay together.
bool TimeCounter::IsInPendingCell(const Columns& columns) const {
  const uint64_t first = columns.cycle[0] ^ pendingCycle;
  const uint64_t last = columns.cycle[columns.size - 1] ^ pendingCycle;
  return !columns.fell && (first | last) >> table.Shift() == 0;
}

// What the summarizer counted by column: all others are what is left of all records.
TimeTable::Sums TimeCounter::CountsOf(const Summarizer& summarizer) const {
  const Summary& summary = summarizer.Get();
  TimeTable::Sums sums = {};
  uint64_t* others = &sums[TimeTable::ColumnOf(TimeTable::OTHERS, 0)];
  others[TimeTable::TypeOf(SWITCH_RECORD)] = summary.switches;
  others[TimeTable::TypeOf(FIRE_RECORD)] = summary.fires;
  others[TimeTable::TypeOf(SEND_RECORD)] = summary.sends;
  for (size_t slot = 0; slot < table.Threads().size(); ++slot) {
    for (size_t type = 0; type < TimeTable::TYPES; ++type) {
      const uint64_t count = summarizer.ThreadCounts()[RECORD_TYPES * summarySlots[slot] + type];
      sums[TimeTable::ColumnOf(slot, type)] = count;
      others[type] -= count;
    }
  }
  return sums;
}

void TimeCounter::Add(const Columns& columns, const Summarizer& summarizer) {
  if (columns.size == 0) {
    return;
  }
  if (IsInPendingCell(columns) && pendingRecords < std::numeric_limits<uint32_t>::max() / 2 &&
      !BringsThread(summarizer)) {
    pendingRecords += columns.size;
    counted = CountsOf(summarizer);
    return;
  }
  Flush();
  AddOneByOne(columns, summarizer);
  largeThreads = summarizer.Get().largeThreads.size();
  counted = CountsOf(summarizer);
  inTable = counted;
  pendingCycle = columns.cycle[columns.size - 1];
}

void TimeCounter::AddOneByOne(const Columns& columns, const Summarizer& summarizer) {
  std::array<uint8_t, Columns::CAPACITY> places;
  for (size_t i = 0; i < columns.size; ++i) {
    const Columns::Tag tag = columns.tag[i];
    places[i] =
        static_cast<uint8_t>(ColumnOf(tag.thread, summarizer) + TimeTable::TypeOf(tag.type));
  }
  for (size_t from = 0; from < columns.size;) {
    size_t end = from + 1;
    while (end < columns.size && (columns.cycle[end] ^ columns.cycle[from]) >> table.Shift() == 0) {
      ++end;
    }
    table.AddEach(columns.cycle[from], std::span(places).subspan(from, end - from));
    from = end;
  }
}

void TimeCounter::Flush() {
  if (pendingRecords == 0) {
    return;
  }
  TimeTable::Row row;
  for (size_t column = 0; column < row.size(); ++column) {
    row[column] = static_cast<uint32_t>(counted[column] - inTable[column]);
  }
  table.AddRow(pendingCycle, row);
  inTable = counted;
  pendingRecords = 0;
}

const TimeTable& TimeCounter::Get() {
  Flush();
  return table;
}

void TimeCounter::ClearFor(const TimeTable& before) {
  Flush();
  table.ClearFor(before);
}

}  // namespace marrowfin
