#include "measure/LeastTimes.h"

#include <algorithm>

namespace marrowfin {

// Ways from or to outside the array say nothing of those within.
void LeastTimes::Settle() {
  uint64_t least = UNKNOWN;
  for (uint32_t way = Ways::MOST - 1; way-- > 0;) {
    least = std::min(least, times[FIRST_WAY + way]);
    times[FIRST_WAY + way] = least;
  }
}

}  // namespace marrowfin
