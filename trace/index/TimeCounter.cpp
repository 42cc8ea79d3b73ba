#include "trace/index/TimeCounter.h"

#include <span>
#include <utility>

namespace marrowfin {

TimeCounter::TimeCounter(TimeTable start) : table(std::move(start)) {
  smallColumns.fill(UNKNOWN);
  for (size_t slot = 0; slot < table.Threads().size(); ++slot) {
    Keep(table.Threads()[slot], slot);
  }
}

// The first column of a thread.
uint8_t TimeCounter::LearnThread(uint32_t thread, Summarizer& summarizer) {
  summarizer.AddThread(thread, SWITCH_RECORD, 0);
  return Keep(thread, table.AddThread(thread));
}

uint8_t TimeCounter::Keep(uint32_t thread, size_t slot) {
  const auto column = static_cast<uint8_t>(TimeTable::ColumnOf(slot, 0));
  if (thread < SMALL_THREADS) {
    smallColumns[thread] = column;
  }
  return column;
}

void TimeCounter::Add(const Columns& columns, Summarizer& summarizer) {
  std::array<uint8_t, Columns::CAPACITY> places;
  for (size_t i = 0; i < columns.size; ++i) {
    const Columns::Tag tag = columns.tag[i];
    const uint8_t column = ColumnOf(tag.thread, summarizer);
    if (column == OTHERS) [[unlikely]] {
      summarizer.AddThread(tag.thread, tag.type, 1);
    }
    places[i] = static_cast<uint8_t>(column + TimeTable::TypeOf(tag.type));
  }
  table.AddEach({columns.cycle, columns.size}, {places.data(), columns.size}, !columns.fell);
}

void TimeCounter::TellThreads(Summarizer& summarizer) const {
  TimeTable::Sums sums = {};
  table.AddCells(0, table.Cells(), sums);
  for (size_t slot = 0; slot < table.Threads().size(); ++slot) {
    for (size_t type = 0; type < TimeTable::TYPES; ++type) {
      summarizer.AddThread(table.Threads()[slot], static_cast<uint32_t>(SWITCH_RECORD + type),
                           sums[TimeTable::ColumnOf(slot, type)]);
    }
  }
}

}  // namespace marrowfin
