#include "trace/read/BlockWindow.h"

#include <algorithm>

namespace marrowfin {

Result<std::shared_ptr<const Block>> BlockWindow::At(uint64_t offset) {
  const uint64_t begin = offset / BLOCK * BLOCK;
  if (std::shared_ptr<const Block> known = Find(begin)) {
    return known;
  }
  // Read by every thread that misses it: none waits for the file while it has the lock.
  auto block = std::make_shared<Block>();
  block->offset = begin;
  block->size = static_cast<size_t>(std::min<uint64_t>(BLOCK + OVERLAP, file.Size() - begin));
  block->bytes = std::make_unique_for_overwrite<uint8_t[]>(block->size);
  if (Fault fault = file.ReadAt(begin, block->size, block->bytes.get())) {
    return fault;
  }
  Keep(block);
  return std::shared_ptr<const Block>(std::move(block));
}

std::shared_ptr<const Block> BlockWindow::Find(uint64_t begin) {
  const std::lock_guard lock(mutex);
  const auto found = std::find_if(blocks.begin(), blocks.end(),
                                  [&](const auto& block) { return block->offset == begin; });
  if (found == blocks.end()) {
    return nullptr;
  }
  blocks.splice(blocks.begin(), blocks, found);
  return blocks.front();
}

void BlockWindow::Keep(const std::shared_ptr<const Block>& block) {
  const std::lock_guard lock(mutex);
  blocks.push_front(block);
  if (blocks.size() > BLOCKS) {
    blocks.pop_back();
  }
}

}  // namespace marrowfin
