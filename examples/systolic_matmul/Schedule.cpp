#include "Schedule.h"

#include <algorithm>

namespace marrowfin::systolic {

namespace {

unsigned TilesAlong(unsigned length, unsigned side) { return (length + side - 1) / side; }

}  // namespace

unsigned long long Schedule::TilesPerProduct(unsigned side) const {
  return 1ULL * TilesAlong(rows, side) * TilesAlong(columns, side);
}

Tile Schedule::TileAt(unsigned long long number, unsigned side) const {
  const uint32 thread = static_cast<uint32>(number % threads);
  const unsigned long long round = number / threads / TilesPerProduct(side);
  const unsigned tile = static_cast<unsigned>(number / threads % TilesPerProduct(side));
  const unsigned row = tile / TilesAlong(columns, side) * side;
  const unsigned column = tile % TilesAlong(columns, side) * side;
  return {round * threads + thread,         thread, row, column, std::min(side, rows - row),
          std::min(side, columns - column), inner};
}

Cycle Schedule::Cycles(unsigned side) const {
  const Cycle lastEntry = (Tiles(side) - 1) * Interval() + inner - 1;
  // An operand of line n enters n cycles later, is used for the first time in the cycle after that
  // and then moves by one PE a cycle. The last tile may be smaller than the one before it, so the
  // way is that of a whole one.
  return lastEntry + std::min(side, rows) + std::min(side, columns);
}

}  // namespace marrowfin::systolic
