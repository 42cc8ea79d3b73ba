#ifndef MEASURE_COUNTSBYTES_H
#define MEASURE_COUNTSBYTES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/base/Bytes.h"

namespace marrowfin {

// Counts show all that they hold to a visitor, in one order: one writes it down, the other reads it
// into counts that were made for the same array, whose tables therefore have their lengths. A
// number that is no cycle is told to be one of records.

class CountsWriter {
 public:
  void Records(const uint64_t& count) { bytes.Number(count); }
  void Records(const std::vector<uint64_t>& counts) {
    for (const uint64_t count : counts) {
      bytes.Number(count);
    }
  }
  void Changes(const std::vector<int64_t>& changes) {
    for (const int64_t change : changes) {
      bytes.Signed(change);
    }
  }
  void Cycle(const uint64_t& cycle) { bytes.Number(cycle); }
  void Numbers(const std::vector<uint32_t>& numbers, size_t /*most*/) {
    bytes.Number(numbers.size());
    for (const uint32_t number : numbers) {
      bytes.Number(number);
    }
  }

  ByteWriter bytes;
};

class CountsReader {
 public:
  // No count is larger than `most`.
  CountsReader(ByteReader& bytes, uint64_t most) : bytes(bytes), most(most) {}

  void Records(uint64_t& count) {
    count = bytes.Number();
    good = good && count <= most;
  }
  void Records(std::vector<uint64_t>& counts) {
    for (uint64_t& count : counts) {
      Records(count);
    }
  }
  void Changes(std::vector<int64_t>& changes) {
    for (int64_t& change : changes) {
      change = bytes.Signed();
      const uint64_t size =
          change < 0 ? ~static_cast<uint64_t>(change) : static_cast<uint64_t>(change);
      good = good && size <= most;
    }
  }
  void Cycle(uint64_t& cycle) { cycle = bytes.Number(); }
  void Numbers(std::vector<uint32_t>& numbers, size_t mostNumbers) {
    numbers.assign(bytes.Count(mostNumbers), 0);
    for (uint32_t& number : numbers) {
      number = static_cast<uint32_t>(bytes.Number());
    }
  }

  // Whether all was there, and nothing too large.
  bool Good() const { return good && bytes.Good(); }

 private:
  ByteReader& bytes;
  uint64_t most;
  bool good = true;
};

}  // namespace marrowfin

#endif
