#ifndef TRACE_INDEX_BATCHCELLS_H
#define TRACE_INDEX_BATCHCELLS_H

#include <cstdint>

#include "trace/index/SegmentPacker.h"
#include "trace/read/Columns.h"

namespace marrowfin {

// What can be told of the records of a batch apart from each other: which cells of a segment they
// count in, and with what. It is told ahead of the counting, since eight records at a time can be
// told it.
struct BatchCells {
  // So many records before a cell is counted in, it is fetched.
  static constexpr size_t AHEAD = 24;

  alignas(64) uint32_t at[Columns::CAPACITY + AHEAD] = {};  // the cell of who fired or sent
  alignas(64) uint32_t to[Columns::CAPACITY + AHEAD] = {};  // of who received
  alignas(64) uint32_t mark[Columns::CAPACITY];  // the thread, as Cell::fires and receives have it
  alignas(64) Touch touch[Columns::CAPACITY];    // as if no change of cycle had come before

  // For an array of columns x rows, both powers of two or 0; `cycleBefore` is that of the record
  // before the batch.
  void Fill(const Columns& columns, uint32_t arrayColumns, uint32_t arrayRows,
            uint64_t cycleBefore);
};

}  // namespace marrowfin

#endif
