#include "trace/ask/ActivityOverTime.h"

#include <algorithm>
#include <tuple>

#include "trace/ask/TimeBins.h"
#include "trace/ask/Walk.h"

namespace marrowfin {

namespace {

// Counts the records of some cells in the bins that end there.
class CellCounter {
 public:
  CellCounter(const TimeTable& table, const std::vector<size_t>& cells,
              const std::vector<CycleEdge>& edges, ActivityBins& bins)
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
    const auto above = std::upper_bound(edges.begin(), edges.end(), CycleEdge{of});
    inBin = inCell && above != edges.begin() && above != edges.end();
    bin = static_cast<size_t>(above - edges.begin()) - 1;
  }

  const TimeTable& table;
  const std::vector<CycleEdge>& edges;
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
    if (Fault fault = Walk(trace, index, range.begin, range.end, take)) {
      return fault;
    }
    if (stopped) {
      return CancelledFault(trace.Name());
    }
  }
  return counter.IsComplete() ? Fault() : Contradiction(trace, index);
}

void AddWholeCells(const TimeCut& cut, const TimeTable& table, ActivityBins& bins) {
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
ActivityBins EmptyBins(const std::vector<CycleEdge>& edges, const TimeTable& table) {
  ActivityBins bins;
  bins.threads.assign(table.Threads().begin(), table.Threads().end());
  std::tie(bins.firsts, bins.last) = FirstsOf(edges);
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
  TimeCut cut(table, EqualBins(question.first, question.last, question.bins));
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
