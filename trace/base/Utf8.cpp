#include "trace/base/Utf8.h"

#include <cstddef>
#include <cstdint>

namespace marrowfin {

namespace {

// How many bytes the character has with which a text begins; 0 where it begins with none.
size_t LengthOfFirst(std::string_view text) {
  const auto lead = static_cast<uint8_t>(text[0]);
  if (lead < 0x80) {
    return 1;
  }
  const size_t more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  if (lead < 0xC2 || lead > 0xF4 || text.size() <= more) {
    return 0;
  }
  uint32_t point = lead & (0x3FU >> more);
  for (size_t i = 1; i <= more; ++i) {
    const auto next = static_cast<uint8_t>(text[i]);
    if ((next & 0xC0) != 0x80) {
      return 0;
    }
    point = point << 6 | (next & 0x3F);
  }
  constexpr uint32_t LEAST[] = {0, 0x80, 0x800, 0x10000};
  const bool isHalf = point >= 0xD800 && point < 0xE000;
  return point < LEAST[more] || point > 0x10FFFF || isHalf ? 0 : more + 1;
}

}  // namespace

size_t Utf8Prefix(std::string_view text) {
  size_t at = 0;
  while (at < text.size()) {
    const size_t length = LengthOfFirst(text.substr(at));
    if (length == 0) {
      break;
    }
    at += length;
  }
  return at;
}

bool IsUtf8(std::string_view text) { return Utf8Prefix(text) == text.size(); }

std::string AsUtf8(std::string_view text) {
  constexpr char MISSING[] = "\xEF\xBF\xBD";
  std::string mended;
  while (!text.empty()) {
    const size_t length = LengthOfFirst(text);
    mended += length == 0 ? std::string_view(MISSING) : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return mended;
}

}  // namespace marrowfin
