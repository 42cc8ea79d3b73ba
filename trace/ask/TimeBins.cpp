#include "trace/ask/TimeBins.h"

#include <algorithm>

namespace marrowfin {

std::vector<CycleEdge> EqualBins(uint64_t first, uint64_t last, size_t bins) {
  std::vector<CycleEdge> edges;
  if (bins == 0 || first > last) {
    return edges;
  }
  const CycleEdge range = CycleEdge{last - first} + 1;
  const CycleEdge width = range / bins;
  const uint64_t left = static_cast<uint64_t>(range % bins);
  CycleEdge edge = first;
  uint64_t part = 0;  // of a cycle, in bins
  edges.reserve(bins + 1);
  for (size_t b = 0; b <= bins; ++b) {
    edges.push_back(edge);
    const bool carry = part >= bins - left;
    edge += width + (carry ? 1 : 0);
    part = carry ? part - (bins - left) : part + left;
  }
  return edges;
}

// The cell that holds an edge; the first one of what lies before all, and the number of all cells
// of what lies behind them.
size_t TimeCut::CellOf(CycleEdge edge) const {
  const CycleEdge cell = edge >> table.Shift();
  const CycleEdge from = std::max<CycleEdge>(cell, table.First()) - table.First();
  return static_cast<size_t>(std::min<CycleEdge>(from, table.Cells()));
}

// Whether an edge lies inside the cell that holds it.
bool TimeCut::IsWithin(CycleEdge edge) const {
  const CycleEdge cell = edge >> table.Shift();
  return cell >= table.First() && cell - table.First() < table.Cells() && edge % Width() != 0;
}

std::pair<size_t, size_t> TimeCut::WholeCells(size_t bin) const {
  const size_t from = CellOf(edges[bin]);
  return {IsWithin(edges[bin]) ? from + 1 : from, CellOf(edges[bin + 1])};
}

std::vector<size_t> TimeCut::PartialCells() const {
  std::vector<size_t> cells;
  for (const CycleEdge edge : edges) {
    const size_t cell = CellOf(edge);
    if ((cells.empty() || cells.back() != cell) && IsWithin(edge) && table.Records(cell) > 0) {
      cells.push_back(cell);
    }
  }
  return cells;
}

void TimeCut::MoveToCells() {
  for (CycleEdge& edge : edges) {
    const size_t cell = CellOf(edge);
    if (IsWithin(edge) && table.Records(cell) > 0) {
      const CycleEdge start = table.CycleOf(cell);
      const bool up =
          &edge == &edges.back() || (&edge != &edges.front() && edge - start >= Width() / 2);
      edge = up ? start + Width() : start;
    }
  }
  edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
}

std::vector<RecordRange> RangesAround(const std::vector<size_t>& cells, const TimeTable& table,
                                      const Index& index) {
  const auto entries = index.Entries();
  const uint64_t all = index.GetSummary().records;
  if (!cells.empty() && !index.GetSummary().Ordered()) {
    return {{0, all}};
  }
  std::vector<RecordRange> ranges;
  for (const size_t cell : cells) {
    const uint64_t first = table.CycleOf(cell);
    const uint64_t last = first + ((uint64_t{1} << table.Shift()) - 1);
    const auto begin = std::partition_point(entries.begin(), entries.end(),
                                            [&](const auto& e) { return e.cycle < first; });
    const auto end =
        std::partition_point(begin, entries.end(), [&](const auto& e) { return e.cycle <= last; });
    const uint64_t from = begin == entries.begin() ? 0 : (begin - 1)->record;
    const uint64_t to = end == entries.end() ? all : end->record;
    if (ranges.empty() || ranges.back().end < from) {
      ranges.push_back({from, to});
    } else {
      ranges.back().end = to;
    }
  }
  return ranges;
}

uint64_t RecordsIn(const std::vector<RecordRange>& ranges) {
  uint64_t records = 0;
  for (const RecordRange& range : ranges) {
    records += range.end - range.begin;
  }
  return records;
}

std::pair<std::vector<uint64_t>, uint64_t> FirstsOf(const std::vector<CycleEdge>& edges) {
  std::vector<uint64_t> firsts;
  if (edges.size() < 2) {
    return {firsts, 0};
  }
  for (size_t b = 0; b + 1 < edges.size(); ++b) {
    firsts.push_back(static_cast<uint64_t>(edges[b]));
  }
  return {firsts, static_cast<uint64_t>(edges.back() - 1)};
}

}  // namespace marrowfin
