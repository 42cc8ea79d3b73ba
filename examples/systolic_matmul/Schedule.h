#ifndef EXAMPLES_SYSTOLIC_MATMUL_SCHEDULE_H
#define EXAMPLES_SYSTOLIC_MATMUL_SCHEDULE_H

#include "Util/Types.h"

namespace marrowfin::systolic {

// The part of a product that the array computes in one go: one element on each PE.
struct Tile {
  unsigned long long product;  // counted over all threads
  uint32 thread;
  unsigned row;  // of the product, where the tile begins
  unsigned column;
  unsigned rows;  // at most the side of the array, as are the columns
  unsigned columns;
  unsigned depth;  // products to add up for an element
};

// Which tile enters the array when. Tiles follow each other at a fixed interval, one of each thread
// in turn, so several threads are on their way through the array at a time.
//
// Everything is computed from the number of the tile: nothing here grows with the run.
struct Schedule {
  unsigned long long TilesPerProduct(unsigned side) const;
  unsigned long long Tiles(unsigned side) const { return Products() * TilesPerProduct(side); }
  unsigned long long Products() const { return 1ULL * threads * products; }
  Cycle Interval() const { return Cycle{inner} + gap; }
  Tile TileAt(unsigned long long number, unsigned side) const;

  // Enough from the first operand's entry until the last PE has multiplied.
  Cycle Cycles(unsigned side) const;

  unsigned rows = 32;     // of the left matrix and the product
  unsigned inner = 12;    // columns of the left matrix, rows of the right one
  unsigned columns = 32;  // of the right matrix and the product
  unsigned threads = 6;
  unsigned products = 2;  // of each thread, one after the other
  unsigned gap = 4;       // idle cycles between two tiles
};

}  // namespace marrowfin::systolic

#endif
