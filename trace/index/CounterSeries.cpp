#include "trace/index/CounterSeries.h"

#include <algorithm>
#include <bit>

#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"

namespace marrowfin {

size_t CounterSeries::CellAt(uint64_t cycle) const {
  const uint64_t number = cycle >> shift;
  const auto above = std::partition_point(cells.begin(), cells.end(),
                                          [&](const Cell& cell) { return cell.number <= number; });
  return above == cells.begin() ? cells.size() : static_cast<size_t>(above - cells.begin()) - 1;
}

// Ends the last cell and begins another, in which the counter has the same value up to a cycle that
// is still to come.
void CounterSeries::Open(uint64_t number) {
  Cell& before = cells.back();
  // Wraps around at the end of all cycles, as it should.
  before.span.Add(before.last, ((before.number + 1) << shift) - since);
  Cell cell;
  cell.number = number;
  cell.last = before.last;
  since = number << shift;
  cells.push_back(cell);
}

void CounterSeries::Add(uint64_t cycle, double value) {
  if (cells.empty()) {
    begin = cycle;
    since = cycle;
    cells.push_back({cycle >> shift, {}, value});
    return;
  }
  falls = falls || cycle < since;
  if (falls) {
    return;
  }
  if (cycle >> shift != cells.back().number) {
    Open(cycle >> shift);
  }
  Cell& cell = cells.back();
  cell.span.Add(cell.last, cycle - since);
  cell.last = value;
  since = cycle;
  while (cells.size() > capacity) {
    Coarsen();
  }
}

void CounterSeries::Limit(size_t most) {
  capacity = most;
  while (cells.size() > capacity) {
    Coarsen();
  }
}

// Makes each two cells one. Where one of the two has no samples, the counter keeps its value there;
// but not before the first sample, nor behind the last one.
void CounterSeries::Coarsen() {
  const uint64_t width = uint64_t{1} << shift;
  std::vector<Cell> coarse;
  coarse.reserve(cells.size());
  for (size_t i = 0; i < cells.size(); ++i) {
    Cell cell = cells[i];
    const bool isSecond = (cell.number & 1) != 0;
    const bool isLast = i + 1 == cells.size();
    const bool hasSecond = !isLast && !isSecond && cells[i + 1].number == cell.number + 1;
    cell.number >>= 1;
    if (!coarse.empty() && coarse.back().number == cell.number) {
      coarse.back().span.Add(cell.span);
      coarse.back().last = cell.last;
      continue;
    }
    if (isSecond && !coarse.empty()) {
      cell.span.Add(coarse.back().last, width);
    }
    if (!isSecond && !hasSecond && !isLast) {
      cell.span.Add(cell.last, width);
    }
    coarse.push_back(cell);
  }
  cells = std::move(coarse);
  ++shift;
}

namespace {

void PutReal(ByteWriter& out, double value) {
  uint8_t bytes[sizeof(double)];
  Store64(bytes, std::bit_cast<uint64_t>(value));
  out.Raw(bytes, sizeof(bytes));
}

double GetReal(ByteReader& in) {
  uint8_t bytes[sizeof(double)] = {};
  in.Raw(bytes, sizeof(bytes));
  return std::bit_cast<double>(Load64(bytes));
}

// One after the other what is alike, so that it packs well.
constexpr double CounterSpan::*SPAN_REALS[] = {&CounterSpan::low, &CounterSpan::high,
                                               &CounterSpan::sum};

}  // namespace

std::vector<uint8_t> CounterSeries::Encode() const {
  ByteWriter out;
  out.Number(falls ? 1 : 0);
  out.Number(shift);
  out.Number(begin);
  out.Number(since);
  out.Number(cells.size());
  uint64_t before = 0;
  for (const Cell& cell : cells) {
    out.Number(cell.number - before);
    before = cell.number;
  }
  for (const Cell& cell : cells) {
    out.Number(cell.span.cycles);
  }
  for (const auto real : SPAN_REALS) {
    for (const Cell& cell : cells) {
      PutReal(out, cell.span.*real);
    }
  }
  for (const Cell& cell : cells) {
    PutReal(out, cell.last);
  }
  return out.Take();
}

std::optional<CounterSeries> CounterSeries::Decode(std::span<const uint8_t> bytes) {
  ByteReader in(bytes.data(), bytes.size());
  CounterSeries series;
  series.falls = in.Number() != 0;
  const uint64_t shift = in.Number();
  series.begin = in.Number();
  series.since = in.Number();
  series.cells.resize(in.Count(MOST_CELLS));
  series.shift = static_cast<unsigned>(shift);
  if (!in.Good() || shift >= 64 || series.cells.empty()) {
    return std::nullopt;
  }
  uint64_t number = 0;
  bool good = true;
  for (Cell& cell : series.cells) {
    const uint64_t step = in.Number();
    good = good && (step > 0 || &cell == series.cells.data()) && step <= ~number;
    number += step;
    cell.number = number;
  }
  for (Cell& cell : series.cells) {
    cell.span.cycles = in.Number();
    good = good && (shift == 0 || cell.span.cycles <= uint64_t{1} << shift);
  }
  for (const auto real : SPAN_REALS) {
    for (Cell& cell : series.cells) {
      cell.span.*real = GetReal(in);
    }
  }
  for (Cell& cell : series.cells) {
    cell.last = GetReal(in);
  }
  good = good && in.Good() && in.AtEnd() && series.begin <= series.since &&
         series.begin >> shift == series.cells.front().number &&
         series.since >> shift == series.cells.back().number;
  return good ? std::optional(std::move(series)) : std::nullopt;
}

}  // namespace marrowfin
