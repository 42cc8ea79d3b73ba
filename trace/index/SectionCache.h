#ifndef TRACE_INDEX_SECTIONCACHE_H
#define TRACE_INDEX_SECTIONCACHE_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <unordered_map>
#include <vector>

namespace marrowfin {

// Keeps the unpacked sections of an index that were used last, up to a number of bytes. Questions
// that follow each other, about ranges that are moved or narrowed, share most of their sections,
// and unpacking one takes longer than all else that is done with it.
class SectionCache {
 public:
  explicit SectionCache(size_t capacity) : capacity(capacity) {}

  // The section that was put in under `offset`, or null. Good until the next Put.
  const std::vector<uint8_t>* Find(uint64_t offset);

  // Keeps a section, however large, and drops those used longest ago as far as room is short.
  const std::vector<uint8_t>& Put(uint64_t offset, std::vector<uint8_t> bytes);

  size_t Size() const { return size; }  // bytes of the sections kept

 private:
  struct Entry {
    uint64_t offset;
    std::vector<uint8_t> bytes;
  };

  size_t capacity;
  size_t size = 0;
  std::list<Entry> entries;  // the one used last in front
  std::unordered_map<uint64_t, std::list<Entry>::iterator> byOffset;
};

}  // namespace marrowfin

#endif
