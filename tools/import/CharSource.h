#ifndef TOOLS_IMPORT_CHARSOURCE_H
#define TOOLS_IMPORT_CHARSOURCE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "tools/program/Failure.h"

namespace marrowfin {

// The characters of an input, read once from start to end in chunks, with their offsets.
//
// A parser takes them through CharIterator and tells the source after every token. That bounds the
// parser's memory: a token of more than `longestToken` bytes, which no honest capture holds, ends
// the input. It also gives messages the exact byte at which a token begins.
class CharSource {
 public:
  static constexpr uint64_t longestToken = 1 << 20;

  // Told now and then how many bytes were read, of how many (0 where that is not known).
  using Watcher = std::function<void(uint64_t done, uint64_t total)>;

  explicit CharSource(Watcher watcher = nullptr);
  CharSource(const CharSource&) = delete;
  CharSource& operator=(const CharSource&) = delete;
  ~CharSource();

  // Reads `path`, which may be a pipe. "-" is a file name like any other.
  [[nodiscard]] MaybeFailure Open(const std::string& path);

  // Whether no character is left. Reads the next chunk where that is needed.
  bool AtEnd();

  char Current() const { return buffer[next]; }
  void Advance();

  // The token that began at TokenStart() is done with.
  void EndToken();

  // Offset of the current token's first character, or of the next character where none has begun.
  // Blanks, commas and colons begin no token.
  bool TokenBegun() const { return tokenBegun; }
  uint64_t TokenStart() const { return tokenBegun ? tokenStart : Offset(); }

  // What ended the input before its end, if anything did.
  const MaybeFailure& Trouble() const { return trouble; }

  const std::string& Path() const { return path; }

 private:
  bool Refill();
  uint64_t Offset() const { return bufferStart + next; }

  Watcher watcher;
  std::string path;
  int fd;
  uint64_t total;
  std::vector<char> buffer;
  size_t next;    // of the next character in the buffer
  size_t filled;  // bytes in the buffer
  uint64_t bufferStart;
  uint64_t lastTokenEnd;
  uint64_t tokenStart;
  bool tokenBegun;
  MaybeFailure trouble;
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
