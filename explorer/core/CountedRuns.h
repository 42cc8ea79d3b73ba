#ifndef EXPLORER_CORE_COUNTEDRUNS_H
#define EXPLORER_CORE_COUNTEDRUNS_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

#include "measure/RunCounts.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// A part of a run that is to be counted.
struct RunPart {
  ArrayShape shape;
  uint64_t first = 0;  // cycle, and the last one
  uint64_t last = 0;

  // Whether sums by place are all that is wanted: an index tells them in some milliseconds, where
  // all else goes through the records.
  bool sums = false;

  friend bool operator==(const RunPart&, const RunPart&) = default;
};

// What was counted last: panels ask for the same range one after the other, and for the whole run
// again and again. Of large arrays nothing is kept. Any number of threads may ask.
class CountedRuns {
 public:
  // Null where that part was not counted, or not lately.
  std::shared_ptr<const RunCounts> Find(const RunPart& part);
  void Keep(const RunPart& part, std::shared_ptr<const RunCounts> counts);

 private:
  static constexpr size_t MOST = 3;
  static constexpr size_t MOST_ELEMENTS = size_t{1} << 18;

  struct Kept {
    RunPart part;
    std::shared_ptr<const RunCounts> counts;
  };

  std::mutex mutex;
  std::list<Kept> kept;  // the one used last in front
};

}  // namespace marrowfin

#endif
