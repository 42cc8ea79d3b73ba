#include "measure/CountByTables.h"

#include <iterator>
#include <span>
#include <utility>
#include <vector>

#include "trace/ask/ActivityOverTime.h"
#include "trace/ask/ActivityReader.h"

namespace marrowfin {
namespace {

constexpr Activity ACTIVITIES[] = {FIRES, SENDS, RECEIVES, TRANSMISSIONS};
constexpr uint64_t PARTS = 2 + std::size(ACTIVITIES);  // two of them times

// Tells of one of several parts of the work what share of the whole is done. `progress` must
// outlive it.
ProgressCallback PartOf(const ProgressCallback& progress, uint64_t part) {
  if (!progress) {
    return {};
  }
  return [&progress, part](const Progress& now) {
    return progress({part * now.all + now.done, PARTS * now.all, now.unit});
  };
}

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
                const ProgressCallback& progress, RunCounts& counts) {
  const ActivityReader reader(trace, index);
  std::vector<uint64_t> found;
  uint64_t part = PARTS - std::size(ACTIVITIES);
  for (const Activity activity : ACTIVITIES) {
    if (Fault fault = reader.CountCycles(cycles.first, cycles.last, activity, found,
                                         PartOf(progress, part++))) {
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

// Takes up bins that are columns from the given one on. False where threads that are not told apart
// fired.
bool AddBins(const ActivityBins& bins, size_t column, RunCounts& counts) {
  bool apart = true;
  for (size_t slot = 0; slot <= bins.threads.size(); ++slot) {
    const std::optional<uint32_t> thread =
        slot < bins.threads.size() ? std::optional(bins.threads[slot]) : std::nullopt;
    for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
      const std::span<const uint64_t> records = bins.Of(slot, type);
      for (size_t bin = 0; bin < records.size(); ++bin) {
        counts.AddRecords(thread, type, column + bin, records[bin]);
        apart = apart && (thread || type != FIRE_RECORD || records[bin] == 0);
      }
    }
  }
  return apart;
}

// The records of each column. The last one may be narrower than the others, which bins never are:
// it is asked for alone. False where threads that are not told apart fired, a fault where the index
// cannot be read.
Result<bool> AddColumns(const TraceSource& trace, const Index& index, const TimeColumns& columns,
                        const ProgressCallback& progress, RunCounts& counts) {
  const size_t last = columns.Count() - 1;
  const uint64_t begin = columns.FirstOf(last);
  bool apart = true;
  if (last > 0) {
    const Result<ActivityBins> bins =
        ActivityOverTime(trace, index, {columns.first, begin - 1, last}, PartOf(progress, 0));
    if (!bins) {
      return bins.Why();
    }
    apart = AddBins(*bins, 0, counts);
  }
  const Result<ActivityBins> bins =
      ActivityOverTime(trace, index, {begin, columns.last, 1}, PartOf(progress, 1));
  if (!bins) {
    return bins.Why();
  }
  return AddBins(*bins, last, counts) && apart;
}

}  // namespace

Result<std::optional<RunCounts>> CountByTables(const TraceSource& trace, const Index& index,
                                               const RunShape& shape, bool everyThread,
                                               const ProgressCallback& progress) {
  const Summary& summary = index.GetSummary();
  if (!index.HasBoundaries() || !summary.Ordered() || !summary.switchesComplete) {
    return std::optional<RunCounts>();
  }
  RunCounts counts(shape);
  const Result<bool> apart = AddColumns(trace, index, shape.columns, progress, counts);
  if (!apart) {
    return apart.Why();
  }
  if (everyThread && !*apart) {
    return std::optional<RunCounts>();
  }
  if (Fault fault = AddPlaces(trace, index, shape.columns, progress, counts)) {
    return fault;
  }
  counts.CountOutside();
  return std::optional<RunCounts>(std::move(counts));
}

}  // namespace marrowfin
