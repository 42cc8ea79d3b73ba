#ifndef MEASURE_COUNTTHREADS_H
#define MEASURE_COUNTTHREADS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "measure/Level.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The fires of a unit of the array, and which thread has most of them.
struct PlaceThread {
  uint64_t fires = 0;
  size_t slot = 0;    // of that thread; of equal ones the lowest
  uint64_t most = 0;  // its fires

  // Whether it has at least nine of ten.
  bool IsOwn() const { return fires > 0 && most / 9 >= (fires - most); }

  friend bool operator==(const PlaceThread&, const PlaceThread&) = default;
};

// Which thread fires where.
struct ThreadMap {
  ArrayShape shape;
  Level level = Level::PE;
  std::vector<uint32_t> threads;    // told apart, in ascending order: their slots
  std::vector<uint64_t> fires;      // of each slot; the last one is that of all other threads
  std::vector<PlaceThread> places;  // by the number of the unit

  // Whether the thread with most fires of a place is known to have nine of ten: of threads that are
  // not told apart nobody knows.
  bool IsOwn(const PlaceThread& place) const {
    return place.slot < threads.size() && place.IsOwn();
  }
};

struct ThreadQuestion {
  ArrayShape shape;
  EventFilter filter;
  Level level = Level::PE;

  // Threads that are told apart, and what may be counted at once, 8 bytes each: of large arrays
  // fewer threads are told apart.
  size_t mostThreads = 256;
  size_t mostCounts = size_t{16} << 20;
};

// Counts fires by place and thread, in one pass by all processors; where there are more threads
// than can be told apart, in a second one, and those with most fires are. The answer does not
// depend on how many processors there are.
//
// A fault where the trace cannot be read or has no record, or `progress`, which counts records and
// is called in any of the threads, one call at a time, asked to stop.
[[nodiscard]] Result<ThreadMap> CountThreads(const TraceSource& trace, const Index& index,
                                             const ThreadQuestion& question,
                                             const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
