#ifndef TRACE_BASE_ZSTD_H
#define TRACE_BASE_ZSTD_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace marrowfin {

// A zstd frame with a checksum of its contents.
std::vector<uint8_t> Pack(std::span<const uint8_t> raw);

// What a frame of exactly `rawSize` bytes held; false where it is damaged or holds anything else.
bool Unpack(std::span<const uint8_t> packed, size_t rawSize, std::vector<uint8_t>& raw);

}  // namespace marrowfin

#endif
