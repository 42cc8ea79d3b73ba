#ifndef TRACE_WRITE_BYTESINK_H
#define TRACE_WRITE_BYTESINK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trace/base/Fault.h"

namespace marrowfin {

// Where bytes go, from the first to the last. A sink is called once per buffer and not per record,
// so that a virtual call costs nothing. Threads: one at a time.
class ByteSink {
 public:
  virtual ~ByteSink() = default;

  // What became of a write: all bytes were taken, or `fault` says why only `taken` of them were.
  struct Written {
    size_t taken = 0;
    Fault fault = {};
  };
  virtual Written Write(const uint8_t* bytes, size_t size) = 0;

  // The most bytes that whoever reads the other end gets in one piece; 0 for any number.
  virtual size_t LargestPiece() const { return 0; }
};

// Writes to a descriptor; `name` is for messages.
ByteSink::Written WriteTo(int descriptor, const std::string& name, const uint8_t* bytes,
                          size_t size);

// ByteSink::LargestPiece of a descriptor.
size_t LargestPieceOf(int descriptor);

// A descriptor, which it does not close.
class DescriptorSink : public ByteSink {
 public:
  DescriptorSink(int descriptor, const std::string& name)
      : descriptor(descriptor), name(name), largestPiece(LargestPieceOf(descriptor)) {}

  Written Write(const uint8_t* bytes, size_t size) override {
    return WriteTo(descriptor, name, bytes, size);
  }
  size_t LargestPiece() const override { return largestPiece; }

 private:
  int descriptor;
  std::string name;
  size_t largestPiece;
};

// Keeps what is written in memory.
class MemorySink : public ByteSink {
 public:
  Written Write(const uint8_t* bytes, size_t size) override;
  const std::vector<uint8_t>& Bytes() const { return kept; }

 private:
  std::vector<uint8_t> kept;
};

}  // namespace marrowfin

#endif
