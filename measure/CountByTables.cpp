#include "measure/CountByTables.h"

#include <utility>
#include <vector>

#include "trace/ask/ActivityOverTime.h"
#include "trace/ask/ActivityReader.h"

namespace marrowfin {
namespace {

// Where the counts of an activity belong.
std::vector<Place> PlacesOf(const ActivityReader& reader, const Index& index, Activity activity) {
  if (activity == TRANSMISSIONS) {
    return index.GetSummary().switchPlaces;
  }
  std::vector<Place> places;
  places.reserve(static_cast<size_t>(reader.ColumnCount()) * reader.RowCount());
  for (uint32_t row = 0; row < reader.RowCount(); ++row) {
    for (uint32_t column = 0; column < reader.ColumnCount(); ++column) {
      places.push_back({column, row});
    }
  }
  return places;
}

Fault AddPlaces(const TraceSource& trace, const Index& index, const TimeColumns& cycles,
                RunCounts& counts) {
  const ActivityReader reader(trace, index);
  std::vector<uint64_t> found;
  for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
    if (Fault fault = reader.CountCycles(cycles.first, cycles.last, activity, found)) {
      return fault;
    }
    const std::vector<Place> places = PlacesOf(reader, index, activity);
    for (size_t i = 0; i < found.size(); ++i) {
      if (found[i] != 0) {
        counts.AddAt(places[i], activity, found[i]);
      }
    }
  }
  return {};
}

}  // namespace

Result<std::optional<RunCounts>> CountByTables(const TraceSource& trace, const Index& index,
                                               const RunShape& shape,
                                               const ProgressCallback& progress) {
  const Summary& summary = index.GetSummary();
  if (!index.HasBoundaries() || !summary.Ordered() || !summary.switchesComplete) {
    return std::optional<RunCounts>();
  }
  const TimeColumns& cycles = shape.columns;
  const Result<ActivityBins> bins =
      ActivityOverTime(trace, index, {cycles.first, cycles.last, 1}, progress);
  if (!bins) {
    return bins.Why();
  }
  RunCounts counts(shape);
  for (size_t slot = 0; slot <= bins->threads.size(); ++slot) {
    for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
      const uint64_t records = bins->firsts.empty() ? 0 : bins->Of(slot, type)[0];
      counts.AddRecords(
          slot < bins->threads.size() ? std::optional(bins->threads[slot]) : std::nullopt, type,
          records);
    }
  }
  if (Fault fault = AddPlaces(trace, index, cycles, counts)) {
    return fault;
  }
  counts.CountOutside();
  return std::optional<RunCounts>(std::move(counts));
}

}  // namespace marrowfin
