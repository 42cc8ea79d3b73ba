#include "trace/ask/ActivityReader.h"

#include <algorithm>
#include <bit>

#include "trace/ask/Walk.h"
#include "trace/base/PlaceTable.h"

namespace marrowfin {

namespace {

uint32_t PowerFor(uint64_t extent) {
  return extent == 0 ? 0 : static_cast<uint32_t>(std::bit_ceil(extent));
}

}  // namespace

uint32_t ActivityReader::ColumnCount() const { return PowerFor(index.GetSummary().array.columns); }

uint32_t ActivityReader::RowCount() const { return PowerFor(index.GetSummary().array.rows); }

uint64_t ActivityReader::RecordOf(size_t boundary) const {
  return boundary == 0 ? 0 : index.Boundaries()[boundary - 1].record;
}

// The boundary (0 is the start of the trace) that is fewest records away.
size_t ActivityReader::Nearest(uint64_t record) const {
  const auto boundaries = index.Boundaries();
  const auto above =
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= record; });
  const size_t below = static_cast<size_t>(above - boundaries.begin());
  if (above == boundaries.end()) {
    return below;
  }
  return record - RecordOf(below) <= above->record - record ? below : below + 1;
}

// Makes a count of 0 of every unit.
Fault ActivityReader::Begin(Activity activity, std::vector<uint64_t>& counts) const {
  if (!index.HasBoundaries()) {
    Fault fault;
    fault.kind = Fault::OUTSIDE_ARRAY;
    fault.file = trace.Name();
    fault.reason = "the locations of the trace span too large an array to count its units";
    fault.remedy =
        "use locations below " + std::to_string(Index::MAX_ELEMENTS) + " positions in all";
    return fault;
  }
  const bool elements = activity != TRANSMISSIONS;
  counts.assign(elements ? static_cast<size_t>(ColumnCount()) * RowCount()
                         : index.GetSummary().switchPlaces.size(),
                0);
  return {};
}

Fault ActivityReader::Count(uint64_t first, uint64_t last, Activity activity,
                            std::vector<uint64_t>& counts, const ProgressCallback& progress) const {
  return Settle(trace, index, CountRange(first, last, activity, counts, progress));
}

Fault ActivityReader::CountBetween(size_t from, size_t to, Activity activity,
                                   std::vector<uint64_t>& counts,
                                   const ProgressCallback& progress) const {
  if (Fault fault = Begin(activity, counts)) {
    return fault;
  }
  return AddBetween(from, to, activity, counts, progress);
}

Fault ActivityReader::CountRange(uint64_t first, uint64_t last, Activity activity,
                                 std::vector<uint64_t>& counts,
                                 const ProgressCallback& progress) const {
  if (Fault fault = Begin(activity, counts)) {
    return fault;
  }
  last = std::min(last, index.GetSummary().records);
  first = std::min(first, last);
  const size_t from = Nearest(first);
  const size_t to = Nearest(last);
  if (from >= to) {
    return AddRecords(first, last, activity, 1, counts, progress);
  }
  if (Fault fault = AddBetween(from, to, activity, counts, progress)) {
    return fault;
  }
  if (Fault fault = AddUpTo(from, first, activity, -1, counts, progress)) {
    return fault;
  }
  return AddUpTo(to, last, activity, 1, counts, progress);
}

uint64_t ActivityReader::FarEndsUpTo(size_t boundary) const {
  return boundary == 0 ? 0 : index.Boundaries()[boundary - 1].farEnds;
}

// Where an end was far that the array has had room for since, nodes lack it: such segments are
// read.
Fault ActivityReader::AddBetween(size_t from, size_t to, Activity activity,
                                 std::vector<uint64_t>& counts,
                                 const ProgressCallback& progress) const {
  if (Fault fault = AddNodes(from, to, activity, counts)) {
    return fault;
  }
  const bool ends = activity == SENDS || activity == RECEIVES;
  if (!ends || counts.empty() ||
      !index.GetSummary().far.MayBeIn({ColumnCount() - 1, RowCount() - 1})) {
    return {};
  }
  for (size_t b = from; b < to; ++b) {
    if (FarEndsUpTo(b) == FarEndsUpTo(b + 1)) {
      continue;
    }
    if (Fault fault = AddNodes(b + 1, b, activity, counts)) {
      return fault;
    }
    if (Fault fault = AddRecords(RecordOf(b), RecordOf(b + 1), activity, 1, counts, progress)) {
      return fault;
    }
  }
  return {};
}

// The nodes of both boundaries that are not common to both: their prefixes share the rest.
Fault ActivityReader::AddNodes(size_t from, size_t to, Activity activity,
                               std::vector<uint64_t>& counts) const {
  while (from != to) {
    const bool add = to > from;
    size_t& node = add ? to : from;
    if (Fault fault =
            index.AddNode(node, activity, add ? 1 : -1, ColumnCount(), RowCount(), counts)) {
      return fault;
    }
    node &= node - 1;
  }
  return {};
}

// The records from a boundary up to `record`, or less those from `record` up to the boundary.
Fault ActivityReader::AddUpTo(size_t boundary, uint64_t record, Activity activity, int sign,
                              std::vector<uint64_t>& counts,
                              const ProgressCallback& progress) const {
  const uint64_t at = RecordOf(boundary);
  return at <= record ? AddRecords(at, record, activity, sign, counts, progress)
                      : AddRecords(record, at, activity, -sign, counts, progress);
}

Fault ActivityReader::AddRecords(uint64_t first, uint64_t last, Activity activity, int sign,
                                 std::vector<uint64_t>& counts,
                                 const ProgressCallback& progress) const {
  if (activity == TRANSMISSIONS) {
    return AddTransmissions(first, last, sign, counts, progress);
  }
  if (counts.empty()) {
    return {};  // a trace of switches alone
  }
  const uint64_t step = sign < 0 ? ~uint64_t{0} : 1;
  const size_t stride = ColumnCount();
  const uint32_t type = activity == FIRES ? FIRE_RECORD : SEND_RECORD;
  const Place most = {ColumnCount(), RowCount()};
  const auto fits = [&](Place largest) {
    return largest.column < most.column && largest.row < most.row;
  };
  // Whether a record counts is hard to foresee, so all are added: the others as nothing, and at the
  // first position, since a switch and a far end may stand anywhere.
  Fault contradiction;
  const Fault fault = Walk(
      trace, index, first, last,
      [&](const Columns& columns, size_t from, size_t to) {
        const bool far = !fits(columns.maxSent);
        if (!fits(columns.maxFired) || (far && index.GetSummary().far.count == 0)) {
          contradiction = Contradiction(trace, index);
          return false;
        }
        const Place* places = activity == RECEIVES ? columns.to : columns.at;
        for (size_t i = from; i < to; ++i) {
          const bool counted = columns.tag[i].type == type && (!far || fits(places[i]));
          const size_t mask = counted ? ~size_t{0} : 0;
          counts[(places[i].row * stride + places[i].column) & mask] += step & mask;
        }
        return true;
      },
      progress);
  return fault ? fault : contradiction;
}

Fault ActivityReader::AddTransmissions(uint64_t first, uint64_t last, int sign,
                                       std::vector<uint64_t>& counts,
                                       const ProgressCallback& progress) const {
  const uint64_t step = sign < 0 ? ~uint64_t{0} : 1;
  PlaceTable slots;
  for (const Place& place : index.GetSummary().switchPlaces) {
    slots.Add(place);
  }
  Fault contradiction;
  const Fault fault = Walk(
      trace, index, first, last,
      [&](const Columns& columns, size_t from, size_t to) {
        for (size_t i = from; i < to; ++i) {
          if (columns.tag[i].type != SWITCH_RECORD) {
            continue;
          }
          const uint32_t slot = slots.Find(columns.at[i]);
          if (slot == PlaceTable::NONE) {
            contradiction = Contradiction(trace, index);
            return false;
          }
          counts[slot] += step;
        }
        return true;
      },
      progress);
  return fault ? fault : contradiction;
}

Fault ActivityReader::CountCycles(uint64_t first, uint64_t last, Activity activity,
                                  std::vector<uint64_t>& counts,
                                  const ProgressCallback& progress) const {
  if (!index.GetSummary().Ordered()) {
    Fault fault;
    fault.kind = Fault::FALLING_CYCLE;
    fault.file = trace.Name();
    fault.record = index.GetSummary().firstFall;
    fault.reason = "the cycles fall, so a range of cycles is no range of records";
    fault.remedy = "write events in order of their cycles";
    return fault;
  }
  return Settle(trace, index, CountRangeOfCycles(first, last, activity, counts, progress));
}

Fault ActivityReader::CountRangeOfCycles(uint64_t first, uint64_t last, Activity activity,
                                         std::vector<uint64_t>& counts,
                                         const ProgressCallback& progress) const {
  const Result<uint64_t> firstRecord = FindCycle(trace, index, first);
  if (!firstRecord) {
    return firstRecord.Why();
  }
  const Result<uint64_t> lastRecord = last == ~uint64_t{0}
                                          ? Result<uint64_t>(index.GetSummary().records)
                                          : FindCycle(trace, index, last + 1);
  if (!lastRecord) {
    return lastRecord.Why();
  }
  return CountRange(*firstRecord, *lastRecord, activity, counts, progress);
}

}  // namespace marrowfin
