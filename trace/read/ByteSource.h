#ifndef TRACE_READ_BYTESOURCE_H
#define TRACE_READ_BYTESOURCE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "trace/base/Result.h"

namespace marrowfin {

// The bytes of a trace from front to back, wherever they come from.
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

// Opens a file or a FIFO and looks at its first bytes: gzip and zstd data are unpacked on the way.
// "-" is the name of a file like any other.
Result<std::unique_ptr<ByteSource>> OpenSource(const std::string& name);

// The same on a descriptor, which is closed with the source; `name` is for messages.
Result<std::unique_ptr<ByteSource>> OpenSource(int descriptor, const std::string& name);

// `limit` bytes of a plain file from byte `offset` on, as they are. The descriptor, whose position
// is neither used nor moved, must outlive the source.
std::unique_ptr<ByteSource> PieceSource(int descriptor, const std::string& name, uint64_t offset,
                                        uint64_t limit);

// Bytes in memory, which must outlive the source.
std::unique_ptr<ByteSource> MemorySource(const uint8_t* bytes, size_t size);

}  // namespace marrowfin

#endif
