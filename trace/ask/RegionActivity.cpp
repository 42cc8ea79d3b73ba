#include "trace/ask/RegionActivity.h"

#include <algorithm>

#include "trace/ask/NodeSums.h"
#include "trace/ask/Walk.h"

namespace marrowfin {

namespace {

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

// How many of the records `begin` up to `end` count.
Result<uint64_t> CountBetween(const TraceSource& trace, const Index& index, uint64_t begin,
                              uint64_t end, Activity kind, const Region& region) {
  const uint32_t type = TypeOf(kind);
  uint64_t count = 0;
  const Fault fault =
      Walk(trace, index, begin, end, [&](const Columns& columns, size_t from, size_t to) {
        const Place* places = kind == RECEIVES ? columns.to : columns.at;
        for (size_t i = from; i < to; ++i) {
          count += columns.tag[i].type == type && region.Has(places[i]);
        }
        return true;
      });
  return fault ? Result<uint64_t>(fault) : count;
}

// Where a span ends: at a boundary of the index, and so many records that count further on, modulo
// 2^64.
struct SpanEnd {
  size_t boundary = 0;
  uint64_t further = 0;
};

Result<SpanEnd> FindEnd(const TraceSource& trace, const Index& index, unsigned __int128 cycle,
                        Activity kind, const Region& region) {
  const Result<uint64_t> record = cycle >> 64 != 0
                                      ? Result<uint64_t>(index.GetSummary().records)
                                      : FindCycle(trace, index, static_cast<uint64_t>(cycle));
  if (!record) {
    return record.Why();
  }
  const auto boundaries = index.Boundaries();
  const auto recordOf = [&](size_t b) { return b == 0 ? 0 : boundaries[b - 1].record; };
  const auto above =
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= *record; });
  SpanEnd end = {static_cast<size_t>(above - boundaries.begin()), 0};
  const bool nearer =
      above != boundaries.end() && above->record - *record < *record - recordOf(end.boundary);
  end.boundary += nearer ? 1 : 0;
  const uint64_t boundary = recordOf(end.boundary);
  const Result<uint64_t> part = CountBetween(trace, index, std::min(*record, boundary),
                                             std::max(*record, boundary), kind, region);
  if (!part) {
    return part.Why();
  }
  end.further = *record >= boundary ? *part : ~*part + 1;
  return end;
}

// Spans out of differences of the index's sums, of so many records in all.
Fault SumSpans(const TraceSource& trace, const Index& index, const Spans& spans, uint64_t records,
               Activity kind, const std::optional<Region>& part, const ProgressCallback& progress,
               std::vector<uint64_t>& counts) {
  const Region region = part.value_or(Region());
  // Events of the whole trace are counted by thread, which is little to add up.
  const Activity activity = part ? kind : THREAD_RECORDS;
  NodeSums sums(index, region, SwitchesIn(index.GetSummary(), region),
                CountersOfType(index.GetSummary(), TypeOf(kind)));
  Result<SpanEnd> end = FindEnd(trace, index, spans.Edge(0), kind, region);
  for (size_t b = 0; b < spans.count && end; ++b) {
    if (progress && !progress({records / spans.count * b, records, Progress::RECORDS})) {
      return CancelledFault(trace.Name());
    }
    if (spans.Edge(b) == spans.Edge(b + 1)) {
      continue;  // there are more spans than cycles
    }
    const SpanEnd start = *end;
    end = FindEnd(trace, index, spans.Edge(b + 1), kind, region);
    const Result<uint64_t> between =
        end ? sums.Between(start.boundary, end->boundary, activity) : Result<uint64_t>(end.Why());
    if (!between) {
      return Settle(trace, index, between.Why());
    }
    counts[b] = *between + end->further - start.further;
    if (counts[b] > records) {
      return Contradiction(trace, index);
    }
  }
  const bool stopped = end && progress && !progress({records, records, Progress::RECORDS});
  return Settle(trace, index, stopped ? CancelledFault(trace.Name()) : end.Why());
}

// Whether the sums of the index are all that there is in the region.
bool HasSums(const Index& index, Activity kind, const std::optional<Region>& region) {
  const bool ends = kind == SENDS || kind == RECEIVES;
  return index.HasBoundaries() && !(ends && region && index.GetSummary().far.MayBeIn(region->last));
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
    return ActivityReader(trace, index).CountCycles(first, last, kind, counts, progress);
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
  const bool summed = HasSums(index, kind, region) && (*end - *begin) / bins > 131072;
  const Fault fault =
      summed ? SumSpans(trace, index, spans, *end - *begin, kind, region, progress, counts)
             : CountSpans(trace, index, spans, *begin, *end, kind, region, progress, counts);
  if (fault) {
    return fault;
  }
  return counts;
}

}  // namespace marrowfin
