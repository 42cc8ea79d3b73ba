#include "trace/index/SectionCache.h"

#include <utility>

namespace marrowfin {

const std::vector<uint8_t>* SectionCache::Find(uint64_t offset) {
  const auto found = byOffset.find(offset);
  if (found == byOffset.end()) {
    return nullptr;
  }
  entries.splice(entries.begin(), entries, found->second);
  return &entries.front().bytes;
}

const std::vector<uint8_t>& SectionCache::Put(uint64_t offset, std::vector<uint8_t> bytes) {
  size += bytes.size();
  entries.push_front({offset, std::move(bytes)});
  byOffset[offset] = entries.begin();
  while (size > capacity && entries.size() > 1) {
    size -= entries.back().bytes.size();
    byOffset.erase(entries.back().offset);
    entries.pop_back();
  }
  return entries.front().bytes;
}

}  // namespace marrowfin
