#include "trace/ask/Query.h"

#include <algorithm>
#include <bit>

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
      sum += counts[row * columns + column];
    }
  }
  return sum;
}

uint32_t TypeOf(Activity kind) {
  return kind == FIRES ? FIRE_RECORD : kind == TRANSMISSIONS ? SWITCH_RECORD : SEND_RECORD;
}

}  // namespace

Region Region::Domain(const ArrayShape& shape, uint32_t column, uint32_t row) {
  const Place first = shape.FirstOfDomain({column, row});
  return {first, {first.column + shape.pes.columns - 1, first.row + shape.pes.rows - 1}};
}

Region Region::Cluster(const ArrayShape& shape, uint32_t column, uint32_t row) {
  const Place first = shape.FirstOfCluster({column, row});
  return {first, {first.column + shape.ClusterColumns() - 1, first.row + shape.ClusterRows() - 1}};
}

bool EventFilter::Matches(const TraceEvent& event) const {
  const bool typed = (event.type == FIRE_RECORD && fires) || (event.type == SEND_RECORD && sends) ||
                     (event.type == SWITCH_RECORD && switches);
  const bool placed =
      !region || region->Has(event.at) || (event.type == SEND_RECORD && region->Has(event.to));
  return typed && placed && event.record >= firstRecord && event.record < lastRecord &&
         event.cycle >= firstCycle && event.cycle <= lastCycle &&
         (!thread || event.thread == *thread);
}

EventCursor::EventCursor(const TraceFile& trace, const Index& index, const EventFilter& filter,
                         ProgressCallback progress)
    : trace(trace),
      index(index),
      filter(filter),
      progress(std::move(progress)),
      activity(trace, index),
      columns(std::make_unique<Columns>()) {}

// Turns the ranges of cycles and steps into one of records, where that is possible.
bool EventCursor::Narrow() {
  if (narrowed) {
    return !fault;
  }
  narrowed = true;
  end = std::min(filter.lastRecord, index.GetSummary().records);
  begin = std::min(filter.firstRecord, end);
  fault = NarrowToCycles();
  if (!fault) {
    fault = NarrowToSteps();
  }
  if (fault) {
    return End();
  }
  end = std::max(begin, end);
  next = begin;
  return true;
}

Fault EventCursor::NarrowToCycles() {
  if (!index.GetSummary().Ordered()) {
    return {};
  }
  const Result<uint64_t> from = FindCycle(trace, index, filter.firstCycle);
  if (!from) {
    return from.Why();
  }
  begin = std::max(begin, *from);
  if (filter.lastCycle == ~uint64_t{0}) {
    return {};
  }
  const Result<uint64_t> to = FindCycle(trace, index, filter.lastCycle + 1);
  if (!to) {
    return to.Why();
  }
  end = std::min(end, *to);
  return {};
}

Fault EventCursor::NarrowToSteps() {
  if (filter.firstStep == 0 && filter.lastStep == ~uint64_t{0}) {
    return {};
  }
  // Nothing of the range is gone through yet.
  const auto ask = [&](const Progress&) {
    return progress({0, end - std::min(begin, end), Progress::RECORDS});
  };
  const auto steps =
      FindSteps(trace, index, filter.skipTo, progress ? ProgressCallback(ask) : ProgressCallback());
  if (!steps) {
    return steps.Why();
  }
  if (filter.firstStep > 0) {
    const Result<uint64_t> from = FindStepEnd(trace, index, *steps, filter.firstStep - 1);
    if (!from) {
      return from.Why();
    }
    begin = std::max(begin, *from);
  }
  const Result<uint64_t> to = FindStepEnd(trace, index, *steps, filter.lastStep);
  if (!to) {
    return to.Why();
  }
  end = std::min(end, *to);
  return {};
}

// Ends a search that found nothing.
bool EventCursor::End() {
  fault = Settle(trace, index, fault);
  return false;
}

uint64_t EventCursor::RecordOf(size_t boundary) const {
  return boundary == 0 ? 0 : index.Boundaries()[boundary - 1].record;
}

// The last boundary at or before a record.
size_t EventCursor::BoundaryAt(uint64_t record) const {
  const auto boundaries = index.Boundaries();
  return static_cast<size_t>(
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= record; }) -
      boundaries.begin());
}

// Whether there are segments that the index may know to be quiet.
bool EventCursor::TellsQuiet() const {
  const bool all = filter.switches && filter.fires && filter.sends;
  return index.HasBoundaries() && (filter.region || !all);
}

bool EventCursor::HasNone(size_t from, size_t to, Activity kind) {
  fault = activity.CountBetween(from, to, kind, counts);
  if (fault) {
    return false;
  }
  const auto isZero = [](uint64_t count) { return count == 0; };
  if (!filter.region) {
    return std::all_of(counts.begin(), counts.end(), isZero);
  }
  if (kind != TRANSMISSIONS) {
    return SumOf(counts, activity.ColumnCount(), activity.RowCount(), *filter.region) == 0;
  }
  const std::vector<Place>& places = index.GetSummary().switchPlaces;
  for (size_t slot = 0; slot < counts.size(); ++slot) {
    if (counts[slot] != 0 && filter.region->Has(places[slot])) {
      return false;
    }
  }
  return true;
}

// Whether the index knows that nothing that matches happened between two boundaries.
bool EventCursor::IsQuiet(size_t from, size_t to) {
  return (!filter.switches || HasNone(from, to, TRANSMISSIONS)) &&
         (!filter.fires || HasNone(from, to, FIRES)) &&
         (!filter.sends ||
          (HasNone(from, to, SENDS) && (!filter.region || HasNone(from, to, RECEIVES))));
}

// The first record at or after `record` that may match: quiet segments are left out. A span that
// was quiet is followed by one of twice its length, one that was not by half of it; spans begin at
// multiples of their length, so that few nodes tell of each.
uint64_t EventCursor::PassOver(uint64_t record) {
  if (!TellsQuiet()) {
    return record;
  }
  size_t b = BoundaryAt(record);
  size_t span = 1;
  while (b != active && b < index.Boundaries().size() && RecordOf(b) < end &&
         Report(std::max(record, RecordOf(b)) - begin, end - begin)) {
    const size_t left = std::bit_floor(index.Boundaries().size() - b);
    span = std::min({span, left, b == 0 ? left : b & -b});
    if (IsQuiet(b, b + span)) {
      b += span;
      span *= 2;
    } else if (fault || span == 1) {
      active = b;
    } else {
      span /= 2;
    }
  }
  return std::min(end, std::max(record, RecordOf(b)));
}

// The record behind the last one before `record` that may match, likewise. `from` is where the
// search began.
uint64_t EventCursor::PassBack(uint64_t record, uint64_t from) {
  const size_t inside = BoundaryAt(record - 1);
  if (!TellsQuiet() || inside == active || inside == index.Boundaries().size()) {
    return record;
  }
  size_t b = inside + 1;
  size_t span = 1;
  while (b > 0 && b - 1 != active && RecordOf(b) > begin &&
         Report(from - std::min(record, RecordOf(b)), from - begin)) {
    span = std::min(span, b & -b);
    if (IsQuiet(b - span, b)) {
      b -= span;
      span *= 2;
    } else if (fault || span == 1) {
      active = b - 1;
    } else {
      span /= 2;
    }
  }
  return std::max(begin, std::min(record, RecordOf(b)));
}

bool EventCursor::Holds(uint64_t record) const {
  return record >= columns->firstRecord && record < columns->firstRecord + columns->size;
}

EventCursor::Spot EventCursor::Behind() const {
  return {columns->firstRecord + columns->size, columns->firstOffset + columns->Bytes()};
}

// The last place at or before a record that the index knows.
EventCursor::Spot EventCursor::SpotBefore(uint64_t record) const {
  const auto entries = index.Entries();
  const auto above =
      std::partition_point(entries.begin(), entries.end(),
                           [&](const IndexEntry& entry) { return entry.record <= record; });
  const IndexEntry& entry = above == entries.begin() ? entries.front() : *(above - 1);
  const size_t b = BoundaryAt(record);
  if (RecordOf(b) > entry.record) {
    return {RecordOf(b), index.Boundaries()[b - 1].offset};
  }
  return {entry.record, entry.offset};
}

// Decodes the batch that begins at a place. It ends at the next boundary at the latest, so that
// what follows can be passed over from there.
bool EventCursor::Decode(Spot spot) {
  const size_t b = BoundaryAt(spot.record);
  const bool bounded = b < index.Boundaries().size();
  const IndexBoundary boundary = bounded ? index.Boundaries()[b] : IndexBoundary();
  const uint64_t limit = bounded ? boundary.offset : index.GetSummary().bytes;
  settled = false;
  columns->firstRecord = spot.record;
  const Fault found = trace.Decode(spot.offset, limit, *columns).Why();
  recordsRead += columns->size;
  const Spot behind = Behind();
  const bool agrees = !bounded || (behind.record <= boundary.record &&
                                   (behind.record == boundary.record) == (behind.offset == limit));
  if (found || !agrees) {
    const bool itself = found.kind == Fault::CHANGED || found.kind == Fault::SYSTEM;
    fault = itself ? found : Contradiction(trace, index);
    fault.record = spot.record;
    columns->Clear();
  }
  return !fault;
}

// Decodes the batch that holds a record, from where the last one ended if that is near.
bool EventCursor::Load(uint64_t record) {
  const Spot known = SpotBefore(record);
  const Spot behind = Behind();
  const bool goesOn = behind.record <= record && behind.record >= known.record;
  if (!Decode(goesOn ? behind : known)) {
    return false;
  }
  while (!Holds(record)) {
    if (!Decode(Behind())) {
      return false;
    }
  }
  return true;
}

// The same where those before it are wanted next.
bool EventCursor::LoadBack(uint64_t record) {
  if (!spots.empty() && record >= spots.front().record && record < spotsEnd) {
    const auto above = std::partition_point(
        spots.begin(), spots.end(), [&](const Spot& spot) { return spot.record <= record; });
    return Decode(*(above - 1));
  }
  spots.clear();
  for (Spot spot = SpotBefore(record); Decode(spot); spot = Behind()) {
    spots.push_back(spot);
    spotsEnd = Behind().record;
    if (Holds(record)) {
      return true;
    }
  }
  return false;
}

TraceEvent EventCursor::EventAt(size_t i) const {
  return {columns->firstRecord + i, columns->cycle[i], columns->tag[i].thread,
          columns->tag[i].type,     columns->at[i],    columns->to[i]};
}

// Leaves out what most filters leave out, before an event is made of it.
bool EventCursor::MayMatch(size_t i) const {
  const Columns::Tag tag = columns->tag[i];
  const bool typed = tag.type == FIRE_RECORD   ? filter.fires
                     : tag.type == SEND_RECORD ? filter.sends
                                               : filter.switches;
  return typed && (!filter.thread || tag.thread == *filter.thread);
}

// Delivers event i of the batch if it matches; with a fault where it is of no trace that was
// indexed.
bool EventCursor::Take(size_t i, TraceEvent& event) {
  const TraceEvent candidate = EventAt(i);
  if (!filter.Matches(candidate)) {
    return false;
  }
  if (!settled) {
    fault = CheckStillIndexed(trace, index);
    settled = !fault;
  }
  if (settled) {
    event = candidate;
  }
  return true;
}

bool EventCursor::Report(uint64_t done, uint64_t all) {
  if (progress && !progress({done, all, Progress::RECORDS})) {
    fault = CancelledFault(trace.Name());
  }
  return !fault;
}

bool EventCursor::Next(TraceEvent& event) {
  if (!Narrow()) {
    return false;
  }
  const bool hadSome = next < end;
  while (next < end && !fault) {
    if (!Holds(next)) {
      next = PassOver(next);
      if (next >= end || fault || !Load(next) || !Report(next - begin, end - begin)) {
        break;
      }
    }
    const uint64_t stop = std::min(end, columns->firstRecord + columns->size);
    for (uint64_t record = next; record < stop; ++record) {
      const size_t i = static_cast<size_t>(record - columns->firstRecord);
      if (MayMatch(i) && Take(i, event)) {
        next = record + 1;
        return !fault;
      }
    }
    next = std::max(next, stop);
  }
  if (hadSome && !fault) {
    Report(end - begin, end - begin);
  }
  return End();
}

bool EventCursor::Previous(TraceEvent& event) {
  if (!Narrow()) {
    return false;
  }
  const uint64_t from = next;
  uint64_t at = next;
  while (at > begin && !fault) {
    if (!Holds(at - 1)) {
      at = PassBack(at, from);
      if (at == begin || fault || !LoadBack(at - 1) || !Report(from - at, from - begin)) {
        break;
      }
    }
    const uint64_t floor = std::max(begin, columns->firstRecord);
    while (at > floor) {
      const size_t i = static_cast<size_t>(--at - columns->firstRecord);
      if (MayMatch(i) && Take(i, event)) {
        next = at;
        return !fault;
      }
    }
  }
  if (from > begin && !fault) {
    Report(from - begin, from - begin);
  }
  return End();
}

namespace {

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
Fault SumSpans(const TraceFile& trace, const Index& index, const Spans& spans, uint64_t records,
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
Fault CountSpans(const TraceFile& trace, const Index& index, const Spans& spans, uint64_t begin,
                 uint64_t end, Activity kind, const std::optional<Region>& region,
                 const ProgressCallback& progress, std::vector<uint64_t>& counts) {
  size_t bin = 0;
  bool stopped = false;
  const Fault fault =
      Walk(trace, index, begin, end, [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          while (bin + 1 < spans.count && columns.cycle[i] >= spans.Edge(bin + 1)) {
            ++bin;
          }
          const Place place = kind == RECEIVES ? columns.to[i] : columns.at[i];
          counts[bin] += columns.tag[i].type == TypeOf(kind) && (!region || region->Has(place));
        }
        stopped = progress &&
                  !progress({columns.firstRecord + to - begin, end - begin, Progress::RECORDS});
        return !stopped;
      });
  return Settle(trace, index, !fault && stopped ? CancelledFault(trace.Name()) : fault);
}

}  // namespace

Result<std::vector<uint64_t>> ActivityOverTime(const TraceFile& trace, const Index& index,
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
