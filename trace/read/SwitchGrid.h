#ifndef TRACE_READ_SWITCHGRID_H
#define TRACE_READ_SWITCHGRID_H

#include <cstdint>

#include "trace/base/ArrayShape.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// Tells whether all switches that transmit in a batch are switches of an array, without a division:
// one per record would take longer than decoding it. Where the side of a cluster is a power of two,
// what the decoder gathered of the whole batch tells it.
//
// Else, an index of a switch is 4 more than a multiple of the side of a cluster. What is a multiple
// of s = o * 2^k, o odd, is divided by s when it is multiplied by the inverse of o modulo 2^32 and
// turned right by k bits; from any other number the same makes a quotient above all that fit into
// 32 bits (Granlund and Montgomery, Division by Invariant Integers using Multiplication, 1994). So
// one comparison with the number of clusters tells both. Each axis has numbers of its own.
class SwitchGrid {
 public:
  explicit SwitchGrid(const ArrayShape& shape);

  // By what was gathered of the batch where that tells it, else by the fastest of the two below.
  bool Fits(const Columns& columns) const;

  // Record by record.
  bool FitsPortable(const Columns& columns) const;
  bool FitsAvx2(const Columns& columns) const;

 private:
  struct Axis {
    Axis(uint32_t clusterSide, uint32_t clusters);
    bool Fits(uint32_t index) const;
    bool FitsAll(uint32_t most, uint32_t bits) const;

    uint32_t inverse;
    int shift;
    uint32_t clusters;
  };

  Axis columnAxis;
  Axis rowAxis;
};

}  // namespace marrowfin

#endif
