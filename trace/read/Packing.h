#ifndef TRACE_READ_PACKING_H
#define TRACE_READ_PACKING_H

#include <cstddef>
#include <cstdint>

namespace marrowfin {

// How packed data begins: with this many bytes, or nothing tells it from a trace.
constexpr size_t PACKED_START = 4;
enum class Packing { NONE, GZIP, ZSTD, MFZ };
Packing PackingOf(const uint8_t* bytes, size_t size);

// The first byte of gzip data.
constexpr uint8_t GZIP_FIRST = 0x1f;

}  // namespace marrowfin

#endif
