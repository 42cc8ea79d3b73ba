#include "measure/SpaceTime.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace marrowfin {

const char* EventsName(SpaceTimeEvents events) {
  switch (events) {
    case SpaceTimeEvents::FIRES:
      return "fires";
    case SpaceTimeEvents::SENDS:
      return "sends";
    case SpaceTimeEvents::RECEIVES:
      break;
  }
  return "receives";
}

SpaceTime::SpaceTime(const HierarchyRows& rows, const TimeColumns& columns, SpaceTimeEvents events,
                     std::vector<uint32_t> apart)
    : rows(rows),
      columns(columns),
      events(events),
      threads(std::move(apart)),
      counts(columns.Count()),
      active(rows.Shape().Elements()),
      begin(columns.first),
      end(columns.FirstOf(0) + columns.WidthOf(0) - 1),
      lastSlot(SlotOf(0)) {}

size_t SpaceTime::SlotOf(uint32_t thread) const {
  const auto found = std::lower_bound(threads.begin(), threads.end(), thread);
  return static_cast<size_t>((found != threads.end() && *found == thread ? found : threads.end()) -
                             threads.begin());
}

const Place* SpaceTime::PlacesOf(const Columns& batch) const {
  return events == SpaceTimeEvents::RECEIVES ? batch.to : batch.at;
}

bool SpaceTime::IsWithinArray(const Columns& batch) const {
  return rows.Shape().HasElement(events == SpaceTimeEvents::FIRES ? batch.maxFired : batch.maxSent);
}

// Goes to the column of a cycle; false where there is none.
bool SpaceTime::Enter(uint64_t cycle) {
  if (cycle >= begin && cycle <= end) {
    return true;
  }
  if (cycle < columns.first || cycle > columns.last) {
    return false;
  }
  column = static_cast<size_t>((cycle - columns.first) / columns.width);
  begin = columns.FirstOf(column);
  end = begin + columns.WidthOf(column) - 1;
  return true;
}

SpaceTime::Cells& SpaceTime::Entered() {
  if (counts[column].empty()) {
    counts[column].resize(rows.Count() * Slots());
  }
  return counts[column];
}

// Records of one column, all of whose places the array has. Which of them count is hard to foresee,
// so all are added: the others as nothing, and at the first place, since they may stand anywhere.
void SpaceTime::AddAll(const Selection& records) {
  const Columns& batch = *records.columns;
  const Place* const places = PlacesOf(batch);
  const uint32_t type = Type();
  const size_t side = rows.Shape().Columns();
  uint64_t* const cells = Entered().data();
  for (const uint16_t row : records.rows) {
    const uint32_t mask = batch.tag[row].type == type ? ~uint32_t{0} : 0;
    const Place at = {places[row].column & mask, places[row].row & mask};
    cells[rows.RowOf(at)] += mask & 1;
    active[at.row * side + at.column] |= mask & 1;
  }
}

void SpaceTime::AddOneByOne(const Selection& records) {
  const Columns& batch = *records.columns;
  const Place* const places = PlacesOf(batch);
  for (const uint16_t row : records.rows) {
    const Place at = places[row];
    if (batch.tag[row].type != Type() || !rows.Shape().HasElement(at) || !Enter(batch.cycle[row])) {
      continue;
    }
    if (batch.tag[row].thread != lastThread) {
      lastThread = batch.tag[row].thread;
      lastSlot = SlotOf(lastThread);
    }
    ++Entered()[rows.RowOf(at) * Slots() + lastSlot];
    active[rows.Shape().ElementNumber(at)] = 1;
  }
}

void SpaceTime::Add(const Selection& records) {
  if (records.rows.empty()) {
    return;
  }
  const Columns& batch = *records.columns;
  const bool inOneColumn = !batch.fell && Enter(batch.cycle[records.rows.front()]) &&
                           batch.cycle[records.rows.back()] <= end;
  if (inOneColumn && threads.empty() && IsWithinArray(batch)) {
    AddAll(records);
  } else {
    AddOneByOne(records);
  }
}

void SpaceTime::Add(const SpaceTime& other) {
  for (size_t i = 0; i < counts.size(); ++i) {
    if (counts[i].empty()) {
      counts[i] = other.counts[i];
      continue;
    }
    for (size_t cell = 0; cell < other.counts[i].size(); ++cell) {
      counts[i][cell] += other.counts[i][cell];
    }
  }
  for (size_t element = 0; element < active.size(); ++element) {
    active[element] |= other.active[element];
  }
}

uint64_t SpaceTime::At(size_t row, size_t at, size_t slot) const {
  return counts[at].empty() ? 0 : counts[at][row * Slots() + slot];
}

uint64_t SpaceTime::At(size_t row, size_t at) const {
  uint64_t sum = 0;
  for (size_t slot = 0; slot < Slots(); ++slot) {
    sum += At(row, at, slot);
  }
  return sum;
}

double SpaceTime::RateAt(size_t row, size_t at) const {
  return static_cast<double>(At(row, at)) / static_cast<double>(rows.Elements()) /
         static_cast<double>(columns.WidthOf(at));
}

uint64_t SpaceTime::Total() const {
  uint64_t sum = 0;
  for (const Cells& cells : counts) {
    sum = std::accumulate(cells.begin(), cells.end(), sum);
  }
  return sum;
}

std::vector<uint64_t> SpaceTime::OfRows() const {
  std::vector<uint64_t> sums(rows.Count());
  for (const Cells& cells : counts) {
    for (size_t cell = 0; cell < cells.size(); ++cell) {
      sums[cell / Slots()] += cells[cell];
    }
  }
  return sums;
}

uint64_t SpaceTime::OfSlot(size_t slot) const {
  uint64_t sum = 0;
  for (const Cells& cells : counts) {
    for (size_t cell = slot; cell < cells.size(); cell += Slots()) {
      sum += cells[cell];
    }
  }
  return sum;
}

uint64_t SpaceTime::ActiveElements() const {
  return static_cast<uint64_t>(std::count(active.begin(), active.end(), 1));
}

}  // namespace marrowfin
