#ifndef EXAMPLES_SYSTOLIC_MATMUL_MESSAGES_H
#define EXAMPLES_SYSTOLIC_MATMUL_MESSAGES_H

#include "Core/Component.h"
#include "Schedule.h"

namespace marrowfin::systolic {

// An element of a matrix on its way through the array. The same message travels from PE to PE:
// whoever keeps it takes it and releases it when it has been passed on.
class Operand : public Message {
 public:
  enum Direction { EAST, SOUTH };

  Operand(const Tile& tile, unsigned step, Direction direction, int value, unsigned hops)
      : tile(tile), step(step), direction(direction), value(value), hops(hops) {}
  Operand* Clone() override { return new Operand(*this); }

  const Tile tile;
  const unsigned step;  // which of the tile's products it belongs to, from 0
  const Direction direction;
  const int value;
  unsigned hops;                     // moves to a neighbour that are still to be made
  Component* destination = nullptr;  // to whom a switch forwards it
};

// An element of a finished product.
class Result : public Message {
 public:
  Result(const Tile& tile, unsigned row, unsigned column, long long value)
      : tile(tile), row(row), column(column), value(value) {}
  Result* Clone() override { return new Result(*this); }

  const Tile tile;
  const unsigned row;  // in the product, as is the column
  const unsigned column;
  const long long value;
};

}  // namespace marrowfin::systolic

#endif
