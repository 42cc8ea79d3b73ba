#include "trace/ask/NotedPlaces.h"

#include <unordered_map>

namespace marrowfin {

Result<EventsAtPlaces> CountAtPlaces(const TraceSource& trace, const Index& index,
                                     NotesOfTrace& notes, const NotedFilter& filter,
                                     const ProgressCallback& progress) {
  std::unordered_map<uint64_t, uint64_t> counts;
  NotedCursor cursor(trace, index, notes, filter, progress);
  Selection found;
  while (cursor.Next(found)) {
    for (const uint16_t row : found.rows) {
      const Place at = found.columns->at[row];
      ++counts[static_cast<uint64_t>(at.column) << 32 | at.row];
    }
  }
  if (cursor.GetFault()) {
    return cursor.GetFault();
  }
  EventsAtPlaces places;
  for (const auto& [place, count] : counts) {
    places[{static_cast<uint32_t>(place >> 32), static_cast<uint32_t>(place)}] = count;
  }
  return places;
}

}  // namespace marrowfin
