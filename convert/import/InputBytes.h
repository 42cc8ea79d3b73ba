#ifndef CONVERT_IMPORT_INPUTBYTES_H
#define CONVERT_IMPORT_INPUTBYTES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/read/ByteSource.h"

namespace marrowfin {

// The bytes of an input, once from start to end in chunks, for readers of streams. Threads: one at
// a time.
class InputBytes {
 public:
  static constexpr size_t LONGEST_LINE = 1 << 20;

  // `progress` is told of every chunk; what it counts is the input as it lies there, packed or not.
  // Input that is packed by bzip2 is unpacked; what the source has unpacked already it may be, too.
  InputBytes(std::unique_ptr<ByteSource> bytes, const std::string& name,
             ProgressCallback progress = {});
  InputBytes(const InputBytes&) = delete;
  InputBytes& operator=(const InputBytes&) = delete;

  // Whether no byte is left, or something ended the input before its end (Trouble).
  bool AtEnd() { return next == filled && !Refill(); }

  // The next byte, of which there must be one.
  uint8_t Take() { return buffer[next++]; }
  uint8_t Current() const { return buffer[next]; }

  // The next `size` bytes; how many of them there were.
  size_t Take(uint8_t* out, size_t size);

  // The next line without its end, be that \n or \r\n; false where there is none. Good until the
  // next call. A line of more than LONGEST_LINE bytes is a trouble.
  bool Line(std::string_view& line);

  // Of the line that was told last, counted from 1.
  uint64_t LineNumber() const { return lines; }

  uint64_t Offset() const { return start + next; }
  const Fault& Trouble() const { return trouble; }
  const std::string& Name() const { return name; }

 private:
  bool Refill();

  std::unique_ptr<ByteSource> bytes;
  std::string name;
  ProgressCallback progress;
  std::vector<uint8_t> buffer;
  size_t next = 0;
  size_t filled = 0;
  uint64_t start = 0;  // of the buffer in the input
  std::string line;    // one that lies in several chunks
  uint64_t lines = 0;
  Fault trouble;
};

}  // namespace marrowfin

#endif
