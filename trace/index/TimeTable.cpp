#include "trace/index/TimeTable.h"

#include <algorithm>
#include <bit>

#include "trace/base/Bytes.h"

namespace marrowfin {

namespace {

constexpr unsigned HALF = 32;  // bits

unsigned BytesFor(uint64_t count) { return (static_cast<unsigned>(std::bit_width(count)) + 7) / 8; }

}  // namespace

size_t TimeTable::SlotOf(uint32_t thread) const {
  const auto known = std::find(threads.begin(), threads.end(), thread);
  return known != threads.end() ? static_cast<size_t>(known - threads.begin()) : OTHERS;
}

size_t TimeTable::AddThread(uint32_t thread) {
  const size_t slot = SlotOf(thread);
  if (slot != OTHERS || threads.size() == THREADS) {
    return slot;
  }
  threads.push_back(thread);
  return threads.size() - 1;
}

void TimeTable::Add(uint64_t cycle, size_t column, uint64_t records) {
  MakeRoom(cycle);
  AddAt(columns[column], At(cycle >> shift), records);
}

void TimeTable::AddAt(Column& column, size_t at, uint64_t records) const {
  if (column.low.empty()) {
    column.low.resize(capacity);
  }
  const uint64_t sum = CountAt(column, at) + records;
  column.low[at] = static_cast<uint32_t>(sum);
  if (sum >> HALF != 0) {
    column.high.resize(capacity);
    column.high[at] = static_cast<uint32_t>(sum >> HALF);
  }
}

uint64_t TimeTable::CountAt(const Column& column, size_t at) {
  const uint64_t high = column.high.empty() ? 0 : column.high[at];
  return high << HALF | column.low[at];
}

// Lets the cells reach a cycle, by the least widening that will do.
void TimeTable::MakeRoom(uint64_t cycle) {
  const uint64_t cell = cycle >> shift;
  if (cells == 0) {
    first = cell;
    cells = 1;
    return;
  }
  if (cell - first < cells) {
    return;
  }
  uint64_t low = std::min(first, cell);
  uint64_t high = std::max(first + (cells - 1), cell);
  unsigned by = 0;
  while (high - low >= capacity) {
    low >>= 1;
    high >>= 1;
    ++by;
  }
  if (by > 0) {
    Coarsen(by);
  }
  first = low;
  cells = static_cast<size_t>(high - low) + 1;
}

// Makes one cell of each 2^by.
void TimeTable::Coarsen(unsigned by) {
  const uint64_t last = first + (cells == 0 ? 0 : cells - 1);
  for (Column& column : columns) {
    if (column.low.empty()) {
      continue;
    }
    Column coarse;
    for (size_t cell = 0; cell < cells; ++cell) {
      AddAt(coarse, At((first + cell) >> by), CountAt(column, At(first + cell)));
    }
    column = std::move(coarse);
  }
  first >>= by;
  cells = cells == 0 ? 0 : static_cast<size_t>((last >> by) - first) + 1;
  shift += by;
}

void TimeTable::Merge(const TimeTable& other) {
  std::array<size_t, SLOTS> slots;
  slots[OTHERS] = OTHERS;
  for (size_t slot = 0; slot < other.threads.size(); ++slot) {
    slots[slot] = AddThread(other.threads[slot]);
  }
  if (other.cells == 0) {
    return;
  }
  if (other.shift > shift) {
    Coarsen(other.shift - shift);
  }
  MakeRoom(other.CycleOf(0));
  MakeRoom(other.CycleOf(other.cells - 1));
  const unsigned by = shift - other.shift;
  for (size_t column = 0; column < COLUMNS; ++column) {
    if (other.columns[column].low.empty()) {
      continue;
    }
    Column& sums = columns[ColumnOf(slots[column / TYPES], column % TYPES)];
    for (size_t cell = 0; cell < other.cells; ++cell) {
      AddAt(sums, At((other.first + cell) >> by), other.Count(column, cell));
    }
  }
}

void TimeTable::Clear() {
  for (Column& column : columns) {
    for (size_t cell = 0; cell < cells && !column.low.empty(); ++cell) {
      column.low[At(first + cell)] = 0;
    }
    column.high.clear();
  }
  first = 0;
  cells = 0;
}

uint64_t TimeTable::Count(size_t column, size_t cell) const {
  const Column& counts = columns[column];
  return counts.low.empty() ? 0 : CountAt(counts, At(first + cell));
}

uint64_t TimeTable::Records(size_t cell) const {
  uint64_t records = 0;
  for (size_t column = 0; column < COLUMNS; ++column) {
    records += Count(column, cell);
  }
  return records;
}

void TimeTable::AddBins(size_t column, std::span<const CellRange> ranges,
                        std::span<uint64_t> bins) const {
  const Column& counts = columns[column];
  if (counts.low.empty()) {
    return;
  }
  for (size_t i = 0; i < bins.size(); ++i) {
    uint64_t sum = 0;
    for (size_t cell = ranges[i].from; cell < ranges[i].to; ++cell) {
      sum += counts.low[At(first + cell)];
    }
    for (size_t cell = ranges[i].from; cell < ranges[i].to && !counts.high.empty(); ++cell) {
      sum += static_cast<uint64_t>(counts.high[At(first + cell)]) << HALF;
    }
    bins[i] += sum;
  }
}

// The column that is written in this place: of the slots only those that are taken, and the others.
size_t TimeTable::FromFile(size_t column) const {
  const size_t slot = column / TYPES;
  return ColumnOf(slot == threads.size() ? OTHERS : slot, column % TYPES);
}

// Counts of neighbouring cells have much the same size, but nothing else in common. A compressor
// that sees bytes finds the upper ones alike and spends on the lower ones what they tell.
std::vector<uint8_t> TimeTable::Encode() const {
  ByteWriter out;
  out.Number(shift);
  out.Number(first);
  out.Number(cells);
  out.Number(threads.size());
  for (const uint32_t thread : threads) {
    out.Number(thread);
  }
  std::vector<uint8_t> plane(cells);
  for (size_t written = 0; written < FileColumns(); ++written) {
    const size_t column = FromFile(written);
    uint64_t all = 0;
    for (size_t cell = 0; cell < cells; ++cell) {
      all |= Count(column, cell);
    }
    const unsigned width = BytesFor(all);
    out.Number(width);
    for (unsigned byte = 0; byte < width; ++byte) {
      for (size_t cell = 0; cell < cells; ++cell) {
        plane[cell] = static_cast<uint8_t>(Count(column, cell) >> 8 * byte);
      }
      out.Raw(plane.data(), cells);
    }
  }
  return out.Take();
}

std::optional<TimeTable> TimeTable::Decode(std::span<const uint8_t> bytes) {
  ByteReader in(bytes.data(), bytes.size());
  TimeTable table;
  const uint64_t shift = in.Number();
  table.first = in.Number();
  const uint64_t cells = in.Number();
  const size_t threads = in.Count(THREADS);
  const uint64_t last = shift < 64 ? ~uint64_t{0} >> shift : 0;
  if (shift >= 64 || cells > CELLS || table.first > last ||
      (cells > 0 && cells - 1 > last - table.first)) {
    return std::nullopt;
  }
  table.shift = static_cast<unsigned>(shift);
  table.cells = static_cast<size_t>(cells);
  for (size_t slot = 0; slot < threads; ++slot) {
    const uint64_t thread = in.Number();
    if (thread > ~uint32_t{0} || table.AddThread(static_cast<uint32_t>(thread)) != slot) {
      return std::nullopt;
    }
  }
  for (size_t read = 0; read < table.FileColumns() && in.Good(); ++read) {
    table.DecodeColumn(in, table.FromFile(read));
  }
  const bool bounded = cells == 0 || (table.Records(0) > 0 && table.Records(table.cells - 1) > 0);
  return in.Good() && in.AtEnd() && bounded ? std::optional(std::move(table)) : std::nullopt;
}

void TimeTable::DecodeColumn(ByteReader& in, size_t column) {
  const size_t width = in.Count(sizeof(uint64_t));
  std::vector<uint8_t> plane(cells);
  for (size_t byte = 0; byte < width && in.Raw(plane.data(), cells); ++byte) {
    for (size_t cell = 0; cell < cells; ++cell) {
      AddAt(columns[column], At(first + cell), static_cast<uint64_t>(plane[cell]) << 8 * byte);
    }
  }
}

}  // namespace marrowfin
