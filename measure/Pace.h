#ifndef MEASURE_PACE_H
#define MEASURE_PACE_H

#include <cstdint>

#include "trace/base/Fault.h"
#include "trace/base/Progress.h"

namespace marrowfin {

// Tells whoever watches of work in many short steps over records: not of each step, which is
// shorter than telling of it. The callback must outlive it. Threads: one at a time.
class Pace {
 public:
  static constexpr uint64_t STEPS = 1 << 12;  // of which one is told

  Pace(const ProgressCallback& progress, uint64_t all) : progress(progress), all(all) {}

  // False where the work is to stop, once it was asked to. `done` is where it stands behind `taken`
  // steps more.
  bool GoOn(uint64_t done, uint64_t taken = 1) {
    steps += taken;
    if (goesOn && steps >= STEPS && progress) {
      steps = 0;
      goesOn = progress({done, all, Progress::RECORDS});
    }
    return goesOn;
  }

 private:
  const ProgressCallback& progress;
  uint64_t all;
  uint64_t steps = 0;
  bool goesOn = true;
};

}  // namespace marrowfin

#endif
