#ifndef TRACE_ASK_TIMEBINS_H
#define TRACE_ASK_TIMEBINS_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "trace/ask/FilterRange.h"
#include "trace/index/Index.h"
#include "trace/index/TimeTable.h"

namespace marrowfin {

// Ranges of cycles in bins, and where these lie among the cells of tables over time.

typedef unsigned __int128 CycleEdge;  // a cycle, or the one behind the last that there is

// The first cycle of each of so many equal bins of `first` to `last` (included), and the one behind
// the last bin; nothing where there are no bins or cycles.
std::vector<CycleEdge> EqualBins(uint64_t first, uint64_t last, size_t bins);

// Where the edges of bins lie among the cells of a time table, which must outlive it.
class TimeCut {
 public:
  TimeCut(const TimeTable& table, std::vector<CycleEdge> edges)
      : table(table), edges(std::move(edges)) {}

  const std::vector<CycleEdge>& Edges() const { return edges; }

  // The cells that lie whole in a bin: from the first number up to, and without, the second.
  std::pair<size_t, size_t> WholeCells(size_t bin) const;

  // The cells with records in which bins end, ascending.
  std::vector<size_t> PartialCells() const;

  // Moves edges out of cells that have records. Bins that have no cycles then are left out.
  void MoveToCells();

 private:
  CycleEdge Width() const { return CycleEdge{1} << table.Shift(); }
  size_t CellOf(CycleEdge edge) const;
  bool IsWithin(CycleEdge edge) const;

  const TimeTable& table;
  std::vector<CycleEdge> edges;
};

// Records among which are all those of some cells, which ascend: as near around them as the sparse
// table tells, and in a trace whose cycles fall all.
std::vector<RecordRange> RangesAround(const std::vector<size_t>& cells, const TimeTable& table,
                                      const Index& index);

uint64_t RecordsIn(const std::vector<RecordRange>& ranges);

// The first cycles of bins, and the last cycle of the last one.
std::pair<std::vector<uint64_t>, uint64_t> FirstsOf(const std::vector<CycleEdge>& edges);

}  // namespace marrowfin

#endif
