#ifndef CONVERT_IMPORT_CHARSOURCE_H
#define CONVERT_IMPORT_CHARSOURCE_H

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/read/ByteSource.h"

namespace marrowfin {

// The characters of an input, read once from start to end in chunks, with their offsets. Input that
// is packed is unpacked on the way; offsets are then those of the unpacked text.
//
// A parser takes them through CharIterator and tells the source after every token. That bounds the
// parser's memory: a token of more than `longestToken` bytes, which no honest capture holds, ends
// the input. It also gives messages the exact byte at which a token begins.
class CharSource {
 public:
  static constexpr uint64_t longestToken = 1 << 20;

  // `progress` is told of every chunk; what it counts is the input as it lies there, packed or not.
  explicit CharSource(ProgressCallback progress = nullptr);
  CharSource(const CharSource&) = delete;
  CharSource& operator=(const CharSource&) = delete;

  // Reads `path`, which may be a pipe. "-" is a file name like any other.
  [[nodiscard]] Fault Open(const std::string& path);

  // Reads bytes from anywhere; `name` is for messages.
  void Open(std::unique_ptr<ByteSource> bytes, const std::string& name);

  // Whether no character is left. Reads the next chunk where that is needed.
  bool AtEnd();

  char Current() const { return static_cast<char>(buffer[next]); }
  void Advance();

  // The token that began at TokenStart() is done with.
  void EndToken();

  // Offset of the current token's first character, or of the next character where none has begun.
  // Blanks, commas and colons begin no token.
  bool TokenBegun() const { return tokenBegun; }
  uint64_t TokenStart() const { return tokenBegun ? tokenStart : Offset(); }

  // What ended the input before its end, if anything did: it cannot be read or unpacked, a token
  // without end, or a request to stop.
  const Fault& Trouble() const { return trouble; }

  const std::string& Path() const { return path; }

 private:
  bool Refill();
  uint64_t Offset() const { return bufferStart + next; }

  void ReportProgress();

  ProgressCallback progress;
  std::string path;
  std::unique_ptr<ByteSource> bytes;
  std::vector<uint8_t> buffer;
  size_t next = 0;    // of the next character in the buffer
  size_t filled = 0;  // bytes in the buffer
  uint64_t bufferStart = 0;
  uint64_t lastTokenEnd = 0;
  uint64_t tokenStart = 0;
  bool tokenBegun = false;
  Fault trouble;
};

// Makes a CharSource a pair of input iterators; the default one is the end of any source.
class CharIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = char;

  CharIterator() = default;
  explicit CharIterator(CharSource* source) : source(source) {}

  char operator*() const { return source->Current(); }
  CharIterator& operator++() {
    source->Advance();
    return *this;
  }
  bool operator==(const CharIterator& other) const { return Done() == other.Done(); }
  bool operator!=(const CharIterator& other) const { return !(*this == other); }

 private:
  bool Done() const { return source == nullptr || source->AtEnd(); }

  CharSource* source = nullptr;
};

}  // namespace marrowfin

#endif
