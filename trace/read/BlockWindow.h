#ifndef TRACE_READ_BLOCKWINDOW_H
#define TRACE_READ_BLOCKWINDOW_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/read/BlockCache.h"
#include "trace/read/Columns.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

// Reads a file in blocks, for files that have no view of themselves, and keeps those used last.
//
// A block goes on into the next one by as much as the longest batch takes, so that a batch that
// begins in a block lies in it whole. From several threads at a time: a block stays as long as
// anyone holds it, and nobody holds one when the window goes.
class BlockWindow {
 public:
  static constexpr size_t BLOCK = 256 << 10;
  static constexpr size_t OVERLAP = Columns::CAPACITY * LARGE_RECORD;
  static constexpr size_t BLOCKS = 16;

  // The file must outlive the window.
  explicit BlockWindow(const PositionedFile& file) : file(file), cache(BLOCKS) {}
  BlockWindow(const BlockWindow&) = delete;
  BlockWindow& operator=(const BlockWindow&) = delete;

  // The block in which byte `offset` (below the size of the file) begins a batch. The fault of a
  // file that does not deliver it.
  [[nodiscard]] Result<std::shared_ptr<const Block>> At(uint64_t offset);

 private:
  const PositionedFile& file;
  BlockCache<Block> cache;
};

}  // namespace marrowfin

#endif
