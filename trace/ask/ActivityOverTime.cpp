#include "trace/ask/ActivityOverTime.h"

#include <algorithm>
#include <utility>

#include "trace/ask/Walk.h"

namespace marrowfin {

namespace {

typedef unsigned __int128 Edge;  // a cycle, or the one behind the last that there is

// The first cycle of each bin, and the one behind the last bin.
std::vector<Edge> EqualBins(const ActivityQuestion& question) {
  std::vector<Edge> edges;
  if (question.bins == 0 || question.first > question.last) {
    return edges;
  }
  const Edge range = Edge{question.last - question.first} + 1;
  const Edge width = range / question.bins;
  const uint64_t left = static_cast<uint64_t>(range % question.bins);
  Edge edge = question.first;
  uint64_t part = 0;  // of a cycle, in bins
  edges.reserve(question.bins + 1);
  for (size_t b = 0; b <= question.bins; ++b) {
    edges.push_back(edge);
    const bool carry = part >= question.bins - left;
    edge += width + (carry ? 1 : 0);
    part = carry ? part - (question.bins - left) : part + left;
  }
  return edges;
}

// Where the edges of bins lie among the cells of a time table.
class Cut {
 public:
  Cut(const TimeTable& table, std::vector<Edge> edges) : table(table), edges(std::move(edges)) {}

  const std::vector<Edge>& Edges() const { return edges; }

  // The cells that lie whole in a bin: from the first number up to, and without, the second.
  std::pair<size_t, size_t> WholeCells(size_t bin) const {
    const size_t from = CellOf(edges[bin]);
    return {IsWithin(edges[bin]) ? from + 1 : from, CellOf(edges[bin + 1])};
  }

  // The cells with records in which bins end, ascending.
  std::vector<size_t> PartialCells() const {
    std::vector<size_t> cells;
    for (const Edge edge : edges) {
      const size_t cell = CellOf(edge);
      if ((cells.empty() || cells.back() != cell) && IsWithin(edge) && table.Records(cell) > 0) {
        cells.push_back(cell);
      }
    }
    return cells;
  }

  // Moves edges out of cells that have records. Bins that have no cycles then are left out.
  void MoveToCells() {
    for (Edge& edge : edges) {
      const size_t cell = CellOf(edge);
      if (IsWithin(edge) && table.Records(cell) > 0) {
        const Edge start = table.CycleOf(cell);
        const bool up =
            &edge == &edges.back() || (&edge != &edges.front() && edge - start >= Width() / 2);
        edge = up ? start + Width() : start;
      }
    }
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
  }

 private:
  Edge Width() const { return Edge{1} << table.Shift(); }

  // The cell that holds an edge; the first one of what lies before all, and the number of all cells
  // of what lies behind them.
  size_t CellOf(Edge edge) const {
    const Edge cell = edge >> table.Shift();
    const Edge from = std::max<Edge>(cell, table.First()) - table.First();
    return static_cast<size_t>(std::min<Edge>(from, table.Cells()));
  }

  // Whether an edge lies inside the cell that holds it.
  bool IsWithin(Edge edge) const {
    const Edge cell = edge >> table.Shift();
    return cell >= table.First() && cell - table.First() < table.Cells() && edge % Width() != 0;
  }

  const TimeTable& table;
  std::vector<Edge> edges;
};

struct RecordRange {
  uint64_t from;
  uint64_t to;
};

// Records among which are all those of some cells: as near around them as the sparse table tells,
// and in a trace whose cycles fall all.
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
    if (ranges.empty() || ranges.back().to < from) {
      ranges.push_back({from, to});
    } else {
      ranges.back().to = to;
    }
  }
  return ranges;
}

uint64_t RecordsIn(const std::vector<RecordRange>& ranges) {
  uint64_t records = 0;
  for (const RecordRange& range : ranges) {
    records += range.to - range.from;
  }
  return records;
}

// Counts the records of some cells in the bins that end there.
class CellCounter {
 public:
  CellCounter(const TimeTable& table, const std::vector<size_t>& cells,
              const std::vector<Edge>& edges, ActivityBins& bins)
      : table(table), edges(edges), bins(bins), isCounted(table.Cells()) {
    for (const size_t cell : cells) {
      isCounted[cell] = true;
      missing += table.Records(cell);
    }
  }

  void Add(const Columns& columns, size_t from, size_t to) {
    for (size_t i = from; i < to; ++i) {
      if (columns.cycle[i] != cycle || !located) {
        Locate(columns.cycle[i]);
      }
      missing -= inCell ? 1 : 0;
      if (inBin) {
        const Columns::Tag tag = columns.tag[i];
        const size_t slot = std::min(table.SlotOf(tag.thread), bins.threads.size());
        ++bins.counts[bins.At(slot, TimeTable::TypeOf(tag.type), bin)];
      }
    }
  }

  // Whether all records of the cells were met, and no others in them.
  bool IsComplete() const { return missing == 0; }

 private:
  // Records of a cycle mostly follow each other.
  void Locate(uint64_t of) {
    cycle = of;
    located = true;
    const uint64_t cell = (of >> table.Shift()) - table.First();
    inCell = cell < isCounted.size() && isCounted[static_cast<size_t>(cell)];
    const auto above = std::upper_bound(edges.begin(), edges.end(), Edge{of});
    inBin = inCell && above != edges.begin() && above != edges.end();
    bin = static_cast<size_t>(above - edges.begin()) - 1;
  }

  const TimeTable& table;
  const std::vector<Edge>& edges;
  ActivityBins& bins;
  std::vector<bool> isCounted;
  uint64_t missing = 0;  // records of the cells that were not met; wraps where there are too many
  uint64_t cycle = 0;
  bool located = false;
  bool inCell = false;
  bool inBin = false;
  size_t bin = 0;
};

Fault AddRecords(const TraceSource& trace, const Index& index,
                 const std::vector<RecordRange>& ranges, const ProgressCallback& progress,
                 CellCounter& counter) {
  const uint64_t all = RecordsIn(ranges);
  uint64_t done = 0;
  bool stopped = false;
  const auto take = [&](const Columns& columns, size_t from, size_t to) {
    counter.Add(columns, from, to);
    done += to - from;
    stopped = progress && !progress({done, all, Progress::RECORDS});
    return !stopped;
  };
  for (const RecordRange& range : ranges) {
    if (Fault fault = Walk(trace, index, range.from, range.to, take)) {
      return fault;
    }
    if (stopped) {
      return CancelledFault(trace.Name());
    }
  }
  return counter.IsComplete() ? Fault() : Contradiction(trace, index);
}

void AddWholeCells(const Cut& cut, const TimeTable& table, ActivityBins& bins) {
  for (size_t bin = 0; bin < bins.firsts.size(); ++bin) {
    const auto [from, to] = cut.WholeCells(bin);
    TimeTable::Sums sums = {};
    table.AddCells(from, to, sums);
    for (size_t i = 0; i <= bins.threads.size(); ++i) {
      const size_t slot = i < bins.threads.size() ? i : TimeTable::OTHERS;
      for (size_t type = 0; type < TimeTable::TYPES; ++type) {
        bins.counts[bins.At(i, type, bin)] += sums[TimeTable::ColumnOf(slot, type)];
      }
    }
  }
}

// Bins without counts.
ActivityBins EmptyBins(const std::vector<Edge>& edges, const TimeTable& table) {
  ActivityBins bins;
  bins.threads.assign(table.Threads().begin(), table.Threads().end());
  if (edges.size() > 1) {
    bins.last = static_cast<uint64_t>(edges.back() - 1);
    for (size_t b = 0; b + 1 < edges.size(); ++b) {
      bins.firsts.push_back(static_cast<uint64_t>(edges[b]));
    }
  }
  bins.counts.resize((bins.threads.size() + 1) * TimeTable::TYPES * bins.firsts.size());
  return bins;
}

}  // namespace

Result<ActivityBins> ActivityOverTime(const TraceSource& trace, const Index& index,
                                      const ActivityQuestion& question,
                                      const ProgressCallback& progress) {
  const Result<const TimeTable*> times = index.Times();
  if (!times) {
    return times.Why();
  }
  const TimeTable& table = **times;
  Cut cut(table, EqualBins(question));
  std::vector<size_t> cells = cut.PartialCells();
  std::vector<RecordRange> ranges = RangesAround(cells, table, index);
  if (RecordsIn(ranges) > question.readAtMost) {
    cut.MoveToCells();
    cells.clear();
    ranges.clear();
  }
  ActivityBins bins = EmptyBins(cut.Edges(), table);
  AddWholeCells(cut, table, bins);
  CellCounter counter(table, cells, cut.Edges(), bins);
  const Fault found = AddRecords(trace, index, ranges, progress, counter);
  if (Fault fault = Settle(trace, index, found)) {
    return fault;
  }
  return bins;
}

}  // namespace marrowfin
