#ifndef TRACE_WRITE_FILESINK_H
#define TRACE_WRITE_FILESINK_H

#include <cstdint>
#include <string>

#include "trace/base/Fault.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// A file of its own. Unlike a DescriptorSink, it tells at which byte a write failed, and a reader
// of a pipe that has gone away, or a limit on the size of files, is such a failure and no signal:
// what is recorded must not end the program that does it, nor may the recorder change what signals
// do elsewhere in that program.
class FileSink : public ByteSink {
 public:
  FileSink() = default;
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;
  ~FileSink() override;

  // Creates `name`, or empties it.
  [[nodiscard]] Fault Open(const std::string& name);

  Written Write(const uint8_t* bytes, size_t size) override;
  size_t LargestPiece() const override { return largestPiece; }

  [[nodiscard]] Fault Close();

 private:
  std::string name;
  int descriptor = -1;
  size_t largestPiece = 0;
  uint64_t taken = 0;  // bytes so far
};

}  // namespace marrowfin

#endif
