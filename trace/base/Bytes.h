#ifndef TRACE_BASE_BYTES_H
#define TRACE_BASE_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace marrowfin {

// Numbers as bytes: seven bits a byte, the lowest first, the top bit set on all but the last byte.
class ByteWriter {
 public:
  void Number(uint64_t value) {
    if (value < 0x80) {
      bytes.push_back(static_cast<uint8_t>(value));  // as nearly all are
    } else {
      LongNumber(value);
    }
  }
  void Signed(int64_t value) {  // small magnitudes take few bytes, whatever the sign
    const uint64_t sign = value < 0 ? ~uint64_t{0} : 0;
    Number((static_cast<uint64_t>(value) << 1) ^ sign);
  }
  void Text(const std::string& text);
  void Raw(const uint8_t* bytes, size_t size);

  const std::vector<uint8_t>& Bytes() const { return bytes; }
  std::vector<uint8_t> Take() { return std::move(bytes); }

  // Makes room, so that writing so many more bytes moves nothing.
  void Reserve(size_t more) { bytes.reserve(bytes.size() + more); }
  void Clear() { bytes.clear(); }

 private:
  void LongNumber(uint64_t value);

  std::vector<uint8_t> bytes;
};

// Reads them back. Past the end, and for a number that is none, it delivers 0 and is not Good any
// more, so that a caller checks once behind a whole structure.
class ByteReader {
 public:
  ByteReader(const uint8_t* bytes, size_t size) : next(bytes), end(bytes + size) {}

  uint64_t Number();
  int64_t Signed();
  std::string Text();
  bool Raw(uint8_t* bytes, size_t size);

  // A number that says how many things follow, of which each takes at least one byte: one that is
  // larger than `most` or than what is left is no good and becomes 0, so nothing is allocated for
  // it.
  size_t Count(size_t most);

  bool Good() const { return good; }
  bool AtEnd() const { return next == end; }
  size_t Left() const { return static_cast<size_t>(end - next); }  // bytes

 private:
  const uint8_t* next;
  const uint8_t* end;
  bool good = true;
};

}  // namespace marrowfin

#endif
