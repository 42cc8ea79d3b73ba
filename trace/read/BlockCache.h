#ifndef TRACE_READ_BLOCKCACHE_H
#define TRACE_READ_BLOCKCACHE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace marrowfin {

// Some bytes of a file, from byte `offset` on.
struct Block {
  uint64_t offset = 0;
  size_t size = 0;
  std::unique_ptr<uint8_t[]> bytes;
  size_t room = 0;  // for bytes, at least `size`

  uint64_t End() const { return offset + size; }
};

// Keeps the blocks of a file that were used last, and the memory of those that were not. From
// several threads at a time: a block stays as long as anyone holds it, and nobody holds one when
// the cache goes. `Kind` is a Block.
template <class Kind>
class BlockCache {
 public:
  explicit BlockCache(size_t most) : most(most) {}
  BlockCache(const BlockCache&) = delete;
  BlockCache& operator=(const BlockCache&) = delete;

  // The block that was kept and begins at byte `begin`; null where there is none.
  std::shared_ptr<Kind> Find(uint64_t begin) {
    const std::lock_guard lock(mutex);
    return FindLocked(begin);
  }

  // A block to read into, with room for `room` bytes: one that was used before, since fresh memory
  // costs as much again as reading into it.
  std::shared_ptr<Kind> Fresh(size_t room) {
    std::unique_ptr<Kind> block;
    {
      const std::lock_guard lock(mutex);
      if (!unused.empty()) {
        block = std::move(unused.back());
        unused.pop_back();
      }
    }
    if (!block) {
      block = std::make_unique<Kind>();
    }
    if (block->room < room) {
      block->bytes = std::make_unique_for_overwrite<uint8_t[]>(room);
      block->room = room;
    }
    return {block.release(), [this](Kind* used) { GiveBack(used); }};
  }

  // Keeps a block, and returns the one that is kept: another one where somebody was faster.
  std::shared_ptr<Kind> Keep(const std::shared_ptr<Kind>& block) {
    std::shared_ptr<Kind> oldest;  // goes without the lock, which it takes
    const std::lock_guard lock(mutex);
    if (std::shared_ptr<Kind> known = FindLocked(block->offset)) {
      return known;
    }
    blocks.push_front(block);
    if (blocks.size() > most) {
      oldest = std::move(blocks.back());
      blocks.pop_back();
    }
    return block;
  }

 private:
  std::shared_ptr<Kind> FindLocked(uint64_t begin) {
    const auto found = std::find_if(blocks.begin(), blocks.end(),
                                    [&](const auto& block) { return block->offset == begin; });
    if (found == blocks.end()) {
      return nullptr;
    }
    blocks.splice(blocks.begin(), blocks, found);
    return blocks.front();
  }

  void GiveBack(Kind* block) {
    std::unique_ptr<Kind> given(block);
    const std::lock_guard lock(mutex);
    unused.push_back(std::move(given));
  }

  const size_t most;
  std::mutex mutex;
  std::vector<std::unique_ptr<Kind>> unused;
  std::list<std::shared_ptr<Kind>> blocks;  // the one used last in front
};

}  // namespace marrowfin

#endif
