#include "trace/base/Bytes.h"

#include <algorithm>

namespace marrowfin {

void ByteWriter::LongNumber(uint64_t value) {
  while (value >= 0x80) {
    bytes.push_back(static_cast<uint8_t>(value | 0x80));
    value >>= 7;
  }
  bytes.push_back(static_cast<uint8_t>(value));
}

void ByteWriter::Text(const std::string& text) {
  Number(text.size());
  bytes.insert(bytes.end(), text.begin(), text.end());
}

void ByteWriter::Raw(const uint8_t* raw, size_t size) {
  bytes.insert(bytes.end(), raw, raw + size);
}

uint64_t ByteReader::Number() {
  uint64_t value = 0;
  for (unsigned shift = 0; shift < 64 && next < end; shift += 7) {
    const uint8_t byte = *next++;
    value |= static_cast<uint64_t>(byte & 0x7f) << shift;
    if (byte < 0x80) {
      good = good && (shift < 63 || byte < 2);
      return good ? value : 0;
    }
  }
  good = false;
  return 0;
}

int64_t ByteReader::Signed() {
  const uint64_t value = Number();
  return static_cast<int64_t>((value >> 1) ^ (~(value & 1) + 1));
}

std::string ByteReader::Text() {
  const size_t size = Count(static_cast<size_t>(end - next));
  std::string text(next, next + size);
  next += size;
  return text;
}

bool ByteReader::Raw(uint8_t* bytes, size_t size) {
  if (static_cast<size_t>(end - next) < size) {
    good = false;
    return false;
  }
  std::copy_n(next, size, bytes);
  next += size;
  return true;
}

size_t ByteReader::Count(size_t most) {
  const uint64_t count = Number();
  if (count > most || count > static_cast<size_t>(end - next)) {
    good = false;
    return 0;
  }
  return static_cast<size_t>(count);
}

}  // namespace marrowfin
