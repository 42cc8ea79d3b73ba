#include "trace/Query.h"

#include <algorithm>
#include <bit>

#include "trace/Walk.h"

namespace marrowfin {

namespace {

Fault Stopped(const std::string& name) {
  Fault fault;
  fault.kind = Fault::CANCELLED;
  fault.file = name;
  fault.reason = "stopped";
  return fault;
}

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
  const Place first = {column * shape.pes, row * shape.pes};
  return {first, {first.column + shape.pes - 1, first.row + shape.pes - 1}};
}

Region Region::Cluster(const ArrayShape& shape, uint32_t column, uint32_t row) {
  const uint32_t side = shape.ClusterSide();
  const Place first = {column * side, row * side};
  return {first, {first.column + side - 1, first.row + side - 1}};
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

// Turns the range of cycles into one of records, where that is possible.
bool EventCursor::Narrow() {
  if (narrowed) {
    return !fault;
  }
  narrowed = true;
  begin = filter.firstRecord;
  end = std::min(filter.lastRecord, index.GetSummary().records);
  if (index.GetSummary().Ordered()) {
    uint64_t from = 0;
    uint64_t to = end;
    if (!FindCycle(trace, index, filter.firstCycle, from, fault) ||
        (filter.lastCycle != ~uint64_t{0} &&
         !FindCycle(trace, index, filter.lastCycle + 1, to, fault))) {
      return false;
    }
    begin = std::max(begin, from);
    end = std::min(end, to);
  }
  next = begin;
  return true;
}

// Whether the index knows that nothing that matches happened between two boundaries.
bool EventCursor::IsQuiet(size_t from, size_t to) {
  const auto recordOf = [&](size_t b) { return b == 0 ? 0 : index.Boundaries()[b - 1].record; };
  std::vector<uint64_t> counts;
  const auto none = [&](Activity kind) {
    return activity.Count(recordOf(from), recordOf(to), kind, counts, fault) &&
           SumOf(counts, activity.ColumnCount(), activity.RowCount(), *filter.region) == 0;
  };
  if (filter.switches) {
    if (!activity.Count(recordOf(from), recordOf(to), TRANSMISSIONS, counts, fault)) {
      return false;
    }
    for (size_t slot = 0; slot < counts.size(); ++slot) {
      if (counts[slot] != 0 && filter.region->Has(index.GetSummary().switchPlaces[slot])) {
        return false;
      }
    }
  }
  return (!filter.fires || none(FIRES)) && (!filter.sends || (none(SENDS) && none(RECEIVES)));
}

// The first record at or after `record` that may match: at a boundary, spans without activity in
// the region are left out, the longest first.
uint64_t EventCursor::PassOver(uint64_t record) {
  if (!filter.region || !index.HasBoundaries()) {
    return record;
  }
  const auto boundaries = index.Boundaries();
  const auto recordOf = [&](size_t b) { return b == 0 ? 0 : boundaries[b - 1].record; };
  size_t b = static_cast<size_t>(
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& x) { return x.record <= record; }) -
      boundaries.begin());
  if (recordOf(b) != record) {
    return record;
  }
  // A span that was quiet is followed by one of twice its length, one that was not by half of it.
  size_t span = 1;
  while (b < boundaries.size() && recordOf(b) < end) {
    span = std::min(span, boundaries.size() - b);
    if (IsQuiet(b, b + span)) {
      b += span;
      span *= 2;
    } else if (fault || span == 1) {
      break;
    } else {
      span /= 2;
    }
  }
  return recordOf(b);
}

// Decodes the batch that begins with `record`.
bool EventCursor::Load(uint64_t record) {
  return Walk(
      trace, index, record, end,
      [&](const Columns& batch, size_t, size_t) {
        *columns = batch;
        return false;
      },
      fault);
}

TraceEvent EventCursor::EventAt(size_t i) const {
  return {columns->firstRecord + i, columns->cycle[i], columns->tag[i].thread,
          columns->tag[i].type,     columns->at[i],    columns->to[i]};
}

bool EventCursor::Next(TraceEvent& event) {
  if (!Narrow()) {
    return false;
  }
  while (next < end && !fault) {
    const bool loaded = next >= columns->firstRecord && next < columns->firstRecord + columns->size;
    if (!loaded) {
      next = PassOver(next);
      if (next >= end || fault || !Load(next)) {
        break;
      }
      if (progress && !progress(next - begin, end - begin)) {
        fault = Stopped(trace.Name());
        break;
      }
    }
    const uint64_t stop = std::min(end, columns->firstRecord + columns->size);
    while (next < stop) {
      event = EventAt(static_cast<size_t>(next++ - columns->firstRecord));
      if (filter.Matches(event)) {
        return true;
      }
    }
  }
  return false;
}

// Quiet segments before a boundary are left out one by one.
uint64_t EventCursor::PassBack(uint64_t record) {
  if (!filter.region || !index.HasBoundaries()) {
    return record;
  }
  const auto boundaries = index.Boundaries();
  const auto recordOf = [&](size_t b) { return b == 0 ? 0 : boundaries[b - 1].record; };
  size_t b = static_cast<size_t>(
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& x) { return x.record < record; }) -
      boundaries.begin());
  b = b < boundaries.size() && recordOf(b + 1) == record ? b + 1 : b;
  if (recordOf(b) != record) {
    return record;
  }
  while (b > 0 && IsQuiet(b - 1, b)) {
    --b;
  }
  return recordOf(b);
}

bool EventCursor::Previous(TraceEvent& event) {
  if (!Narrow()) {
    return false;
  }
  uint64_t at = next;
  while (at > begin && !fault) {
    at = std::max(PassBack(at), begin);
    if (at == begin || fault) {
      break;
    }
    const bool loaded = at > columns->firstRecord && at <= columns->firstRecord + columns->size;
    if (!loaded && !Load(at - 1)) {
      return false;
    }
    if (progress && !progress(next - at, next - begin)) {
      fault = Stopped(trace.Name());
      return false;
    }
    const uint64_t floor = std::max(begin, columns->firstRecord);
    while (at > floor) {
      event = EventAt(static_cast<size_t>(--at - columns->firstRecord));
      if (filter.Matches(event)) {
        next = at;
        return true;
      }
    }
  }
  return false;
}

bool ActivityOverTime(const TraceFile& trace, const Index& index, uint64_t first, uint64_t last,
                      size_t bins, Activity kind, const std::optional<Region>& region,
                      const ProgressCallback& progress, std::vector<uint64_t>& counts,
                      Fault& fault) {
  counts.assign(bins, 0);
  const ActivityReader activity(trace, index);
  std::vector<uint64_t> cells;
  if (bins == 0 || first > last) {
    return true;
  }
  if (!index.GetSummary().Ordered()) {
    return activity.CountCycles(first, last, kind, cells, fault);
  }
  // Bin b holds the cycles from `edge(b)` up to, and without, `edge(b + 1)`, which may be no cycle
  // any more.
  const auto edge = [&](size_t b) {
    return first + (static_cast<unsigned __int128>(last - first) + 1) * b / bins;
  };
  uint64_t begin = 0;
  uint64_t end = 0;
  if (!FindCycle(trace, index, first, begin, fault) ||
      (last != ~uint64_t{0} ? !FindCycle(trace, index, last + 1, end, fault)
                            : (end = index.GetSummary().records, false))) {
    return false;
  }
  const bool summed = index.HasBoundaries() && (end - begin) / bins > 131072;
  if (summed) {
    for (size_t b = 0; b < bins; ++b) {
      if (progress && !progress(b, bins)) {
        fault = Stopped(trace.Name());
        return false;
      }
      if (edge(b) == edge(b + 1)) {
        continue;  // there are more bins than cycles
      }
      if (!activity.CountCycles(static_cast<uint64_t>(edge(b)),
                                static_cast<uint64_t>(edge(b + 1) - 1), kind, cells, fault)) {
        return false;
      }
      const std::vector<Place>& places = index.GetSummary().switchPlaces;
      if (kind == TRANSMISSIONS) {
        for (size_t slot = 0; slot < cells.size(); ++slot) {
          counts[b] += !region || region->Has(places[slot]) ? cells[slot] : 0;
        }
      } else {
        counts[b] =
            SumOf(cells, activity.ColumnCount(), activity.RowCount(), region.value_or(Region()));
      }
    }
    return true;
  }
  size_t bin = 0;
  bool stopped = false;
  const bool walked = Walk(
      trace, index, begin, end,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          while (bin + 1 < bins && columns.cycle[i] >= edge(bin + 1)) {
            ++bin;
          }
          const Place place = kind == RECEIVES ? columns.to[i] : columns.at[i];
          counts[bin] += columns.tag[i].type == TypeOf(kind) && (!region || region->Has(place));
        }
        stopped = progress && !progress(columns.firstRecord + to - begin, end - begin);
        return !stopped;
      },
      fault);
  if (stopped) {
    fault = Stopped(trace.Name());
  }
  return walked && !stopped;
}

}  // namespace marrowfin
