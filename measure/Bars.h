#ifndef MEASURE_BARS_H
#define MEASURE_BARS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "measure/Distribution.h"

namespace marrowfin {

// A distribution in bars of equal width.
struct Bars {
  double first = 0;  // where the first bar begins
  double width = 1;
  bool single = false;  // whether a bar is a single whole number: `first`, `first` + 1, ...
  std::vector<uint64_t> counts;  // none where there are no values
  uint64_t above = 0;            // values behind the last bar

  double End() const { return first + width * static_cast<double>(counts.size()); }
};

// Bars of 1, 2 or 5 times a power of ten, the narrowest of which there are at most `most`, which
// begin at a multiple of their width; of whole numbers none narrower than 1. The first begins at 0
// unless the values stand far from it. Where the largest value is over three times the 99th
// percentile, the bars end at one and a half times that, and the rest is above.
Bars BarsOf(const ValueCounts& values, size_t most);

// The same of reals, of which the distribution has the keys (RealKey).
Bars BarsOfReals(const ValueCounts& keys, size_t most);

}  // namespace marrowfin

#endif
