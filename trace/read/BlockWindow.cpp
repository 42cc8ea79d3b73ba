#include "trace/read/BlockWindow.h"

#include <algorithm>

namespace marrowfin {

Result<std::shared_ptr<const Block>> BlockWindow::At(uint64_t offset) {
  const uint64_t begin = offset / BLOCK * BLOCK;
  if (std::shared_ptr<const Block> known = cache.Find(begin)) {
    return known;
  }
  // Read by every thread that misses it: none waits for the file while it has the lock.
  const std::shared_ptr<Block> block = cache.Fresh(BLOCK + OVERLAP);
  block->offset = begin;
  block->size = static_cast<size_t>(std::min<uint64_t>(BLOCK + OVERLAP, file.Size() - begin));
  if (Fault fault = file.ReadAt(begin, block->size, block->bytes.get())) {
    return fault;
  }
  return std::shared_ptr<const Block>(cache.Keep(block));
}

}  // namespace marrowfin
