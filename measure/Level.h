#ifndef MEASURE_LEVEL_H
#define MEASURE_LEVEL_H

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// The levels of the array at which something can be told.
enum class Level { PE, DOMAIN, CLUSTER };

// How values of elements become one value of a domain or cluster.
enum class Reduction { SUM, MEAN, MAX };

// "PE", "domain", "cluster".
const char* LevelName(Level level);

// How many units a level has along each axis; numbers of units go row by row.
PerAxis UnitsOf(const ArrayShape& shape, Level level);

// The unit that an element of the array belongs to.
Place UnitOf(const ArrayShape& shape, Level level, Place element);

// The places that either of two grids has, row by row, each once.
template <class Look>
void ForEachPlaceOfEither(PerAxis a, PerAxis b, Look look) {
  for (uint32_t row = 0; row < std::max(a.rows, b.rows); ++row) {
    const uint32_t columns = std::max(row < a.rows ? a.columns : 0, row < b.rows ? b.columns : 0);
    for (uint32_t column = 0; column < columns; ++column) {
      look(Place{column, row});
    }
  }
}

// One value for each unit, out of one for each element. Elements that never did anything count as
// they are, so a mean is that of the whole unit.
std::vector<double> Reduce(const ArrayShape& shape, Level level, Reduction reduction,
                           std::span<const double> elements);

}  // namespace marrowfin

#endif
