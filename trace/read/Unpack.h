#ifndef TRACE_READ_UNPACK_H
#define TRACE_READ_UNPACK_H

#include <memory>
#include <string>

#include "trace/read/ByteSource.h"

namespace marrowfin {

// Unpack what `packed` delivers, all members or frames one after another; zstd's skippable frames
// are passed over, and so are zeros behind the last gzip member, with which some media fill up.
// Data that does not unpack, ends early, or is followed by anything else is a DAMAGED_INPUT fault
// behind all bytes that could be unpacked. `name` is for messages. Memory is bounded by the window
// that the format allows without being asked (128 MiB).
std::unique_ptr<ByteSource> UnpackGzip(std::unique_ptr<ByteSource> packed, const std::string& name);
std::unique_ptr<ByteSource> UnpackZstd(std::unique_ptr<ByteSource> packed, const std::string& name);

// Unpacks the trace of a packed trace (docs/packed-format.md) likewise; what is packed with it is
// passed over. Memory is bounded by the largest block that the format allows.
std::unique_ptr<ByteSource> UnpackMfz(std::unique_ptr<ByteSource> packed, const std::string& name);

}  // namespace marrowfin

#endif
