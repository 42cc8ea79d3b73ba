#ifndef MEASURE_CHAINPATH_H
#define MEASURE_CHAINPATH_H

#include <cstdint>
#include <vector>

#include "measure/CausalChain.h"
#include "measure/Level.h"

namespace marrowfin {

// When a chain was at an element.
struct ChainStop {
  uint64_t time = 0;
  Place at;
};

// How often a chain went from one unit of the array to another: straight, whatever way its messages
// took.
struct ChainMove {
  Place from;
  Place to;
  uint64_t times = 0;
};

// A chain as it is drawn. Stops on the way that follow another one at the same place, in the same
// of 4,000 parts of the time, are left out. What lies outside the array is in neither list.
struct ChainPath {
  std::vector<ChainStop> stops;  // in order of time; first and last are those of the chain
  std::vector<ChainMove> moves;  // by row and column, of from and then of to
};

// Faults as of FindChain.
[[nodiscard]] Result<ChainPath> PathOf(const Causes& causes, const CausalChain& chain,
                                       const ArrayShape& shape, Level level,
                                       const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
