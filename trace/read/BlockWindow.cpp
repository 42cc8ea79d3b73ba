#include "trace/read/BlockWindow.h"

#include <algorithm>
#include <utility>

namespace marrowfin {

Result<std::shared_ptr<const Block>> BlockWindow::At(uint64_t offset) {
  const uint64_t begin = offset / BLOCK * BLOCK;
  if (std::shared_ptr<const Block> known = Find(begin)) {
    return known;
  }
  // Read by every thread that misses it: none waits for the file while it has the lock.
  const std::shared_ptr<Block> block = Fresh();
  block->offset = begin;
  block->size = static_cast<size_t>(std::min<uint64_t>(BLOCK + OVERLAP, file.Size() - begin));
  if (Fault fault = file.ReadAt(begin, block->size, block->bytes.get())) {
    return fault;
  }
  Keep(block);
  return std::shared_ptr<const Block>(block);
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

// A block to read into: one that was used before, since fresh memory costs as much again as reading
// into it.
std::shared_ptr<Block> BlockWindow::Fresh() {
  std::unique_ptr<Block> block;
  {
    const std::lock_guard lock(mutex);
    if (!unused.empty()) {
      block = std::move(unused.back());
      unused.pop_back();
    }
  }
  if (!block) {
    block = std::make_unique<Block>();
    block->bytes = std::make_unique_for_overwrite<uint8_t[]>(BLOCK + OVERLAP);
  }
  return {block.release(), [this](Block* used) { GiveBack(used); }};
}

void BlockWindow::Keep(const std::shared_ptr<const Block>& block) {
  std::shared_ptr<const Block> oldest;  // goes without the lock, which it takes
  const std::lock_guard lock(mutex);
  blocks.push_front(block);
  if (blocks.size() > BLOCKS) {
    oldest = std::move(blocks.back());
    blocks.pop_back();
  }
}

void BlockWindow::GiveBack(Block* block) {
  std::unique_ptr<Block> given(block);
  const std::lock_guard lock(mutex);
  unused.push_back(std::move(given));
}

}  // namespace marrowfin
