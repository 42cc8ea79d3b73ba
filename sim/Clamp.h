#ifndef SIM_CLAMP_H
#define SIM_CLAMP_H

#include <algorithm>

#include "Util/Types.h"

namespace marrowfin::sim {

// The bucket in which a number of cycles is counted. A histogram is as long as its largest value,
// and reports must not grow with the longest wait: the last bucket holds all longer ones as well.
inline uint32 Clamp(Cycle cycles) {
  constexpr Cycle LAST_BUCKET = 1023;
  return static_cast<uint32>(std::min(cycles, LAST_BUCKET));
}

}  // namespace marrowfin::sim

#endif
