#include "measure/CountThreads.h"

#include <algorithm>
#include <utility>

#include "measure/CountSpaceTime.h"

namespace marrowfin {
namespace {

// Threads of which a map always tells at least so many, with the slot of the others.
constexpr size_t LEAST_SLOTS = 13;

PlaceThread LargestOf(const SpaceTime& counts, size_t row) {
  PlaceThread place;
  for (size_t slot = 0; slot <= counts.Threads().size(); ++slot) {
    const uint64_t fires = counts.At(row, 0, slot);
    place.fires += fires;
    if (fires > place.most) {
      place.slot = slot;
      place.most = fires;
    }
  }
  return place;
}

ThreadMap MapOf(const SpaceTime& counts, const ArrayShape& shape, Level level) {
  ThreadMap map;
  map.shape = shape;
  map.level = level;
  map.threads = counts.Threads();
  map.fires.resize(map.threads.size() + 1);
  map.places.resize(counts.Rows().Count());
  const uint32_t columns = UnitsOf(shape, level).columns;
  for (size_t row = 0; row < map.places.size(); ++row) {
    const Place unit = UnitOf(shape, level, counts.Rows().FirstOf(row));
    map.places[static_cast<size_t>(unit.row) * columns + unit.column] = LargestOf(counts, row);
    for (size_t slot = 0; slot < map.fires.size(); ++slot) {
      map.fires[slot] += counts.At(row, 0, slot);
    }
  }
  return map;
}

}  // namespace

Result<ThreadMap> CountThreads(const TraceSource& trace, const Index& index,
                               const ThreadQuestion& question, const ProgressCallback& progress) {
  const PerAxis units = UnitsOf(question.shape, question.level);
  SpaceTimeQuestion counted;
  counted.shape = question.shape;
  counted.filter = question.filter;
  counted.byThread = true;
  counted.mostRows = static_cast<size_t>(units.columns) * units.rows;
  counted.mostColumns = 1;
  counted.mostThreads = std::min(question.mostThreads + 1,
                                 std::max(LEAST_SLOTS, question.mostCounts / counted.mostRows));
  const Result<SpaceTime> counts = CountSpaceTime(trace, index, counted, progress);
  if (!counts) {
    return counts.Why();
  }
  return MapOf(*counts, question.shape, question.level);
}

}  // namespace marrowfin
