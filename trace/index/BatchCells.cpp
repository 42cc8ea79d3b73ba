#include "trace/index/BatchCells.h"

#include <bit>

#include "trace/index/ThreadMask.h"
#include "trace/read/Decode.h"

namespace marrowfin {

namespace {

struct Grid {
  uint32_t columns;
  uint32_t rows;
  uint32_t shift;     // from a row to the number of its first cell
  uint32_t elements;  // and so the first cell that is nobody's
};

// Without branches and in a form that compilers make vectors of.
__attribute__((always_inline)) inline void FillAll(const Columns* __restrict__ columns,
                                                   const Grid grid, uint64_t cycleBefore,
                                                   BatchCells* __restrict__ cells) {
  const uint32_t size = static_cast<uint32_t>(columns->size);
  for (uint32_t i = 0; i < size; ++i) {
    const Place at = columns->at[i];
    const Place to = columns->to[i];
    const uint32_t type = columns->tag[i].type;
    const uint32_t nobody = grid.elements + i % Segment::NOBODYS;
    const uint32_t atCell = (at.row << grid.shift) + at.column;
    const uint32_t toCell = (to.row << grid.shift) + to.column;
    const bool atCounts =
        (type != SWITCH_RECORD) & (at.column < grid.columns) & (at.row < grid.rows);
    const bool toCounts = (type == SEND_RECORD) & (to.column < grid.columns) & (to.row < grid.rows);
    cells->at[i] = atCounts ? atCell : nobody;
    cells->to[i] = toCounts ? toCell : nobody;
  }
  for (uint32_t i = 0; i < size; ++i) {
    const uint32_t thread = columns->tag[i].thread;
    cells->mark[i] = uint32_t{1} << (Segment::Cell::MASK_SHIFT + ThreadMask::ClassOf(thread));
    cells->touch[i] = MakeTouch(0, false, thread);
  }
  for (uint32_t i = 1; i < size; ++i) {
    cells->touch[i] |= columns->cycle[i] != columns->cycle[i - 1] ? TOUCH_CHANGE : 0;
  }
  if (size > 0) {
    cells->touch[0] |= columns->cycle[0] != cycleBefore ? TOUCH_CHANGE : 0;
  }
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void FillAvx2(const Columns& columns, const Grid& grid,
                                              uint64_t cycleBefore, BatchCells& cells) {
  FillAll(&columns, grid, cycleBefore, &cells);
}
#endif

}  // namespace

void BatchCells::Fill(const Columns& columns, uint32_t arrayColumns, uint32_t arrayRows,
                      uint64_t cycleBefore) {
  const uint32_t shift =
      arrayColumns == 0 ? 0 : static_cast<uint32_t>(std::countr_zero(arrayColumns));
  const Grid grid = {arrayColumns, arrayRows, shift, arrayColumns * arrayRows};
#if defined(__x86_64__)
  if (HasAvx2()) {
    FillAvx2(columns, grid, cycleBefore, *this);
    return;
  }
#endif
  FillAll(&columns, grid, cycleBefore, this);
}

}  // namespace marrowfin
