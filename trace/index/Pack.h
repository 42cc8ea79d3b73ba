#ifndef TRACE_INDEX_PACK_H
#define TRACE_INDEX_PACK_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/Zstd.h"

namespace marrowfin {

// Counts at the smallest width of 1, 2, 4, ... 64 bits that holds the largest of them, behind a
// byte that tells the width. Most counts of a short time are small, and the narrow form is both
// quicker to pack and smaller when packed than one byte a count: a compressor spends at least a bit
// a byte.
std::vector<uint8_t> Narrow(std::span<const uint64_t> counts);
std::vector<uint8_t> Narrow(std::span<const uint32_t> counts);

// Adds the counts to `sums`, modulo 2^64; false, with `sums` unspecified, where the bytes are not
// those of exactly sums.size() counts. `sign` is 1, or -1 to subtract.
bool AddNarrow(std::span<const uint8_t> narrow, int sign, std::span<uint64_t> sums);

// Whether the bytes are those of exactly `count` counts.
bool IsNarrow(std::span<const uint8_t> narrow, size_t count);

// The sum of the counts from number `first` up to `end` (not included), modulo 2^64; all of them
// are among those of `narrow`, which IsNarrow found to be right.
uint64_t SumNarrow(std::span<const uint8_t> narrow, size_t first, size_t end);

}  // namespace marrowfin

#endif
