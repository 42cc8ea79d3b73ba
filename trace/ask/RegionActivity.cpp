#include "trace/ask/RegionActivity.h"

#include <algorithm>

#include "trace/ask/Walk.h"

namespace marrowfin {

namespace {

// The sum of the counts of a region; cells are columns x rows.
uint64_t SumOf(const std::vector<uint64_t>& counts, uint32_t columns, uint32_t rows,
               const Region& region) {
  uint64_t sum = 0;
  for (uint64_t row = region.first.row; row < rows && row <= region.last.row; ++row) {
    for (uint64_t column = region.first.column; column < columns && column <= region.last.column;
         ++column) {
      sum += counts[static_cast<size_t>(row * columns + column)];
    }
  }
  return sum;
}

uint32_t TypeOf(Activity kind) {
  return kind == FIRES ? FIRE_RECORD : kind == TRANSMISSIONS ? SWITCH_RECORD : SEND_RECORD;
}

// Equal spans of cycles: span b has the cycles from Edge(b) up to, and without, Edge(b + 1), which
// may be no cycle any more.
struct Spans {
  uint64_t first;
  uint64_t last;
  size_t count;

  unsigned __int128 Edge(size_t b) const {
    return first + (static_cast<unsigned __int128>(last - first) + 1) * b / count;
  }
};

// Spans out of differences of the index's sums, of records from `begin` up to `end`.
Fault SumSpans(const TraceSource& trace, const Index& index, const Spans& spans, uint64_t records,
               Activity kind, const std::optional<Region>& region, const ProgressCallback& progress,
               std::vector<uint64_t>& counts) {
  const ActivityReader activity(trace, index);
  const std::vector<Place>& places = index.GetSummary().switchPlaces;
  std::vector<uint64_t> cells;
  for (size_t b = 0; b < spans.count; ++b) {
    if (progress && !progress({records / spans.count * b, records, Progress::RECORDS})) {
      return CancelledFault(trace.Name());
    }
    if (spans.Edge(b) == spans.Edge(b + 1)) {
      continue;  // there are more spans than cycles
    }
    if (Fault fault =
            activity.CountCycles(static_cast<uint64_t>(spans.Edge(b)),
                                 static_cast<uint64_t>(spans.Edge(b + 1) - 1), kind, cells)) {
      return fault;
    }
    if (kind == TRANSMISSIONS) {
      for (size_t slot = 0; slot < cells.size(); ++slot) {
        counts[b] += !region || region->Has(places[slot]) ? cells[slot] : 0;
      }
    } else {
      counts[b] =
          SumOf(cells, activity.ColumnCount(), activity.RowCount(), region.value_or(Region()));
    }
  }
  const bool stopped = progress && !progress({records, records, Progress::RECORDS});
  return stopped ? CancelledFault(trace.Name()) : Fault();
}

// The same out of the records themselves, `begin` up to `end`.
Fault CountSpans(const TraceSource& trace, const Index& index, const Spans& spans, uint64_t begin,
                 uint64_t end, Activity kind, const std::optional<Region>& region,
                 const ProgressCallback& progress, std::vector<uint64_t>& counts) {
  size_t bin = 0;
  unsigned __int128 behind = spans.Edge(1);  // a division of its own, so not for every record
  const uint32_t type = TypeOf(kind);
  bool stopped = false;
  const Fault fault =
      Walk(trace, index, begin, end, [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          while (bin + 1 < spans.count && columns.cycle[i] >= behind) {
            ++bin;
            behind = spans.Edge(bin + 1);
          }
          const Place place = kind == RECEIVES ? columns.to[i] : columns.at[i];
          counts[bin] += columns.tag[i].type == type && (!region || region->Has(place));
        }
        stopped = progress &&
                  !progress({columns.firstRecord + to - begin, end - begin, Progress::RECORDS});
        return !stopped;
      });
  return Settle(trace, index, !fault && stopped ? CancelledFault(trace.Name()) : fault);
}

}  // namespace

Result<std::vector<uint64_t>> ActivityOverTime(const TraceSource& trace, const Index& index,
                                               uint64_t first, uint64_t last, size_t bins,
                                               Activity kind, const std::optional<Region>& region,
                                               const ProgressCallback& progress) {
  std::vector<uint64_t> counts(bins);
  if (bins == 0 || first > last) {
    return counts;
  }
  if (!index.GetSummary().Ordered()) {
    return ActivityReader(trace, index).CountCycles(first, last, kind, counts);
  }
  const Result<uint64_t> begin = FindCycle(trace, index, first);
  if (!begin) {
    return begin.Why();
  }
  const Result<uint64_t> end = last == ~uint64_t{0} ? Result<uint64_t>(index.GetSummary().records)
                                                    : FindCycle(trace, index, last + 1);
  if (!end) {
    return end.Why();
  }
  const Spans spans = {first, last, bins};
  const bool summed = index.HasBoundaries() && (*end - *begin) / bins > 131072;
  const Fault fault =
      summed ? SumSpans(trace, index, spans, *end - *begin, kind, region, progress, counts)
             : CountSpans(trace, index, spans, *begin, *end, kind, region, progress, counts);
  if (fault) {
    return fault;
  }
  return counts;
}

}  // namespace marrowfin
