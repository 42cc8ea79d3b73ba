#ifndef TRACE_READ_UNPACK_H
#define TRACE_READ_UNPACK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "trace/read/ByteSource.h"

namespace marrowfin {

// How packed data begins: with this many bytes, or nothing tells it from a trace.
constexpr size_t PACKED_START = 4;
enum class Packing { NONE, GZIP, ZSTD };
Packing PackingOf(const uint8_t* bytes, size_t size);

// Unpack what `packed` delivers, all members or frames one after another; zstd's skippable frames
// are passed over, and so are zeros behind the last gzip member, with which some media fill up.
// Data that does not unpack, ends early, or is followed by anything else is a DAMAGED_INPUT fault
// behind all bytes that could be unpacked. `name` is for messages. Memory is bounded by the window
// that the format allows without being asked (128 MiB).
std::unique_ptr<ByteSource> UnpackGzip(std::unique_ptr<ByteSource> packed, const std::string& name);
std::unique_ptr<ByteSource> UnpackZstd(std::unique_ptr<ByteSource> packed, const std::string& name);

}  // namespace marrowfin

#endif
