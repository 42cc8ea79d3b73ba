#ifndef TRACE_READ_BYTESOURCE_H
#define TRACE_READ_BYTESOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "trace/base/Result.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

// The bytes of a trace from front to back, wherever they come from. Threads: one at a time.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // Puts up to `size` bytes (at least 1) into `bytes` and returns how many; 0 at the end. May
  // return fewer bytes than there are left. A fault is behind all bytes that were returned before.
  virtual Result<size_t> Read(uint8_t* bytes, size_t size) = 0;

  // The size of what is read from the system and how much of it was read, in bytes, for progress.
  // The size is unknown for a pipe.
  virtual std::optional<uint64_t> InputSize() const = 0;
  virtual uint64_t InputRead() const = 0;
};

// `size` bytes of a file from byte `offset` on, all of which it must have; it must outlive the
// source. Where the file became shorter the source has a fault.
std::unique_ptr<ByteSource> PieceSource(const PositionedFile& file, uint64_t offset, uint64_t size);

// Bytes in memory, which must outlive the source.
std::unique_ptr<ByteSource> MemorySource(const uint8_t* bytes, size_t size);

}  // namespace marrowfin

#endif
