#ifndef MEASURE_RECORDSET_H
#define MEASURE_RECORDSET_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace marrowfin {

// Some of the records of a trace, a bit for each there is: a chain of causes may be as long as the
// trace. Threads: a value, which one thread writes or any number read.
class RecordSet {
 public:
  explicit RecordSet(uint64_t records = 0) : words((records + 63) / 64) {}

  void Add(uint64_t record) { words[record / 64] |= uint64_t{1} << (record % 64); }
  bool Has(uint64_t record) const { return (words[record / 64] >> (record % 64) & 1) != 0; }

  uint64_t Size() const {
    uint64_t size = 0;
    for (const uint64_t word : words) {
      size += static_cast<uint64_t>(std::popcount(word));
    }
    return size;
  }

  // The first of them from `record` on.
  std::optional<uint64_t> From(uint64_t record) const {
    for (size_t i = record / 64; i < words.size(); ++i) {
      const uint64_t word =
          i == record / 64 ? words[i] >> (record % 64) << (record % 64) : words[i];
      if (word != 0) {
        return i * 64 + static_cast<uint64_t>(std::countr_zero(word));
      }
    }
    return std::nullopt;
  }

  // The last of them before `record`.
  std::optional<uint64_t> Before(uint64_t record) const {
    for (size_t i = (record + 63) / 64; i-- > 0;) {
      const uint64_t bits = record - i * 64;
      const uint64_t word = bits < 64 ? words[i] & ((uint64_t{1} << bits) - 1) : words[i];
      if (word != 0) {
        return i * 64 + 63 - static_cast<uint64_t>(std::countl_zero(word));
      }
    }
    return std::nullopt;
  }

 private:
  std::vector<uint64_t> words;
};

}  // namespace marrowfin

#endif
