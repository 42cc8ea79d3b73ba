#include "measure/expect/Measure.h"

namespace marrowfin {

const char* MeasureOfName(MeasureOf of) {
  constexpr const char* names[] = {"run",    "packets", "pairs",  "causes", "element",
                                   "domain", "cluster", "switch", "link",   "traffic"};
  return names[static_cast<size_t>(of)];
}

}  // namespace marrowfin
