#include "measure/expect/Measure.h"

namespace marrowfin {

const char* MeasureOfName(MeasureOf of) {
  constexpr const char* names[] = {"run",    "packets", "pairs",  "element",
                                   "domain", "cluster", "switch", "link"};
  return names[static_cast<size_t>(of)];
}

}  // namespace marrowfin
