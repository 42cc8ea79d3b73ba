#include "trace/index/TimeTable.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <utility>

#include "trace/base/Bytes.h"

namespace marrowfin {

namespace {

constexpr size_t FEWEST_ROWS = 16;

unsigned BytesFor(uint64_t count) { return (static_cast<unsigned>(std::bit_width(count)) + 7) / 8; }

}  // namespace

void TimeTable::Rows::Add(size_t at, uint64_t records) {
  Expect(records);
  const uint64_t sum = low[at] + records;
  low[at] = static_cast<uint32_t>(sum);
  if (sum >> HALF != 0) [[unlikely]] {
    high.resize(low.size());
    high[at] += static_cast<uint32_t>(sum >> HALF);
  }
}

void TimeTable::Rows::Expect(uint64_t records) {
  added = records > ~uint64_t{0} - added ? ~uint64_t{0} : added + records;
}

// Counts that need no upper half are added without a branch for each.
void TimeTable::Rows::AddLow(size_t at, std::span<const uint32_t> counts) {
  uint32_t carries = 0;
  for (size_t i = 0; i < counts.size(); ++i) {
    low[at + i] += counts[i];
    carries |= low[at + i] < counts[i] ? 1U : 0U;
  }
  for (size_t i = 0; i < counts.size() && carries != 0; ++i) {
    if (low[at + i] < counts[i]) {
      high.resize(low.size());
      ++high[at + i];
    }
  }
}

// Adds a row of rows that are no wider than these.
void TimeTable::Rows::AddRow(size_t at, const Rows& other, size_t from) {
  if (added >> HALF == 0) {
    const uint32_t* const counts = other.low.data() + from;
    std::transform(counts, counts + other.width, &low[at], &low[at], std::plus<>());
    return;
  }
  AddLow(at, std::span(other.low).subspan(from, other.width));
  for (size_t i = 0; i < other.width && !other.high.empty(); ++i) {
    if (other.high[from + i] != 0) {
      Add(at + i, static_cast<uint64_t>(other.high[from + i]) << HALF);
    }
  }
}

// Adds up each 2^by of some rows, of which there is none below row 0 or behind the last, in place:
// a table that became full of a trace that began at cycle 0 is as large as it ever will be, and
// memory that is new to a process is dear.
void TimeTable::Rows::Fold(size_t from, size_t rowCount, unsigned by) {
  std::vector<uint32_t> row(width);
  for (size_t number = from; number < from + rowCount; ++number) {
    const auto begin = low.begin() + static_cast<ptrdiff_t>(number * width);
    row.assign(begin, begin + static_cast<ptrdiff_t>(width));
    std::fill_n(begin, width, 0);
    AddLow((by < 64 ? number >> by : 0) * width, row);
  }
}

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
  Move(cells, 0);
  return threads.size() - 1;
}

void TimeTable::Add(uint64_t cycle, size_t column, uint64_t records) {
  MakeRoom(cycle);
  rows.Add(rows.At(cycle >> shift) + InRow(column), records);
}

void TimeTable::AddEach(std::span<const uint64_t> cycles, std::span<const uint8_t> recordColumns,
                        bool rising) {
  if (cycles.empty()) {
    return;
  }
  const auto [least, most] = rising ? std::pair(cycles.begin(), cycles.end() - 1)
                                    : std::minmax_element(cycles.begin(), cycles.end());
  MakeRoom(*least);
  MakeRoom(*most);
  rows.Expect(cycles.size());
  if (rows.added >> HALF != 0) {
    for (size_t i = 0; i < cycles.size(); ++i) {
      rows.Add(rows.At(cycles[i] >> shift) + InRow(recordColumns[i]), 1);
    }
    return;
  }
  uint32_t* const counts = rows.low.data();
  for (size_t i = 0; i < cycles.size(); ++i) {
    ++counts[rows.At(cycles[i] >> shift) + InRow(recordColumns[i])];
  }
}

// Lets the cells reach a cycle, by the least widening that will do.
void TimeTable::MakeRoom(uint64_t cycle) {
  const uint64_t cell = cycle >> shift;
  if (cells > 0 && cell - first < cells) {
    return;
  }
  uint64_t low = cells == 0 ? cell : std::min(first, cell);
  uint64_t high = cells == 0 ? cell : std::max(first + (cells - 1), cell);
  unsigned by = 0;
  while (high - low >= capacity) {
    low >>= 1;
    high >>= 1;
    ++by;
  }
  Coarsen(by);
  const size_t needed = static_cast<size_t>(high - low) + 1;
  if (needed > rows.count) {
    Move(needed, 0);
  }
  first = low;
  cells = needed;
}

// Makes one cell of each 2^by.
void TimeTable::Coarsen(unsigned by) {
  if (by == 0) {
    return;
  }
  const uint64_t last = first + (cells == 0 ? 0 : cells - 1);
  if (last < rows.count && rows.high.empty()) {
    rows.Fold(static_cast<size_t>(first), cells, by);
  } else {
    Move(cells == 0 ? 0 : static_cast<size_t>((last >> by) - (first >> by)) + 1, by);
  }
  first >>= by;
  cells = cells == 0 ? 0 : static_cast<size_t>((last >> by) - first) + 1;
  shift += by;
}

// Moves the counts of the cells into rows with room for so many cells and for all threads, making
// one cell of each 2^by.
void TimeTable::Move(size_t cellCount, unsigned by) {
  Rows moved;
  // Room for four times as many, so that a table that grows is seldom copied.
  const size_t roomy = std::min(capacity, 4 * rows.count);
  moved.count = std::max({rows.count, FEWEST_ROWS, std::bit_ceil(cellCount)});
  if (cellCount > rows.count) {
    moved.count = std::max(moved.count, roomy);
  }
  moved.width = Width();
  moved.low.resize(moved.count * moved.width);
  moved.added = rows.added;
  for (size_t cell = 0; cell < cells; ++cell) {
    moved.AddRow(moved.At((first + cell) >> by), rows, rows.At(first + cell));
  }
  rows = std::move(moved);
}

bool TimeTable::Merge(const TimeTable& other) {
  const size_t common = std::min(threads.size(), other.threads.size());
  if (!std::equal(threads.begin(), threads.begin() + static_cast<ptrdiff_t>(common),
                  other.threads.begin())) {
    return false;
  }
  for (size_t slot = common; slot < other.threads.size(); ++slot) {
    AddThread(other.threads[slot]);
  }
  if (other.cells == 0) {
    return true;
  }
  if (other.shift > shift) {
    Coarsen(other.shift - shift);
  }
  MakeRoom(other.CycleOf(0));
  MakeRoom(other.CycleOf(other.cells - 1));
  rows.Expect(other.rows.added);
  const unsigned by = shift - other.shift;
  for (size_t cell = 0; cell < other.cells; ++cell) {
    const uint64_t from = other.first + cell;
    rows.AddRow(rows.At(from >> by), other.rows, other.rows.At(from));
  }
  return true;
}

void TimeTable::ClearFor(const TimeTable& before) {
  for (size_t cell = 0; cell < cells; ++cell) {
    std::fill_n(rows.low.begin() + static_cast<ptrdiff_t>(rows.At(first + cell)), rows.width, 0);
  }
  rows.high.clear();
  rows.added = 0;
  first = 0;
  cells = 0;
  shift = std::max(shift, before.shift);
}

uint64_t TimeTable::Count(size_t column, size_t cell) const {
  const size_t i = InRow(column);
  return i < rows.width ? rows.Get(rows.At(first + cell) + i) : 0;
}

uint64_t TimeTable::Records(size_t cell) const {
  uint64_t records = 0;
  for (size_t i = 0; i < rows.width; ++i) {
    records += rows.Get(rows.At(first + cell) + i);
  }
  return records;
}

void TimeTable::AddCells(size_t from, size_t to, Sums& sums) const {
  Sums inRow = {};
  for (size_t cell = from; cell < to; ++cell) {
    const size_t at = rows.At(first + cell);
    for (size_t i = 0; i < rows.width; ++i) {
      inRow[i] += rows.low[at + i];
    }
    for (size_t i = 0; i < rows.width && !rows.high.empty(); ++i) {
      inRow[i] += static_cast<uint64_t>(rows.high[at + i]) << HALF;
    }
  }
  for (size_t column = 0; column < COLUMNS; ++column) {
    sums[column] += inRow[InRow(column)];
  }
}

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
  for (size_t written = 0; written < FileColumns(); ++written) {
    EncodeColumn(FromFile(written), out);
  }
  return out.Take();
}

void TimeTable::EncodeColumn(size_t column, ByteWriter& out) const {
  std::vector<uint64_t> counts(cells);
  uint64_t all = 0;
  for (size_t cell = 0; cell < cells; ++cell) {
    counts[cell] = Count(column, cell);
    all |= counts[cell];
  }
  const unsigned width = BytesFor(all);
  out.Number(width);
  std::vector<uint8_t> plane(cells);
  for (unsigned byte = 0; byte < width; ++byte) {
    std::transform(counts.begin(), counts.end(), plane.begin(),
                   [&](uint64_t count) { return static_cast<uint8_t>(count >> 8 * byte); });
    out.Raw(plane.data(), cells);
  }
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
  for (size_t slot = 0; slot < threads; ++slot) {
    const uint64_t thread = in.Number();
    if (thread > ~uint32_t{0} || table.AddThread(static_cast<uint32_t>(thread)) != slot) {
      return std::nullopt;
    }
  }
  table.Move(static_cast<size_t>(cells), 0);
  table.cells = static_cast<size_t>(cells);
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
      rows.Add(rows.At(first + cell) + InRow(column), static_cast<uint64_t>(plane[cell])
                                                          << 8 * byte);
    }
  }
}

}  // namespace marrowfin
