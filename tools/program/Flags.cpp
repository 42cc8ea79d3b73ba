#include "tools/program/Flags.h"

#include <charconv>
#include <cstdint>
#include <system_error>

namespace marrowfin {

std::string MakeDecimal(std::string& text) {
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
    return text + " is no whole number";
  }
  uint64_t count = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), count).ec != std::errc()) {
    return text + " is too large a number";
  }
  text = std::to_string(count);
  return "";
}

std::string MakeSignedDecimal(std::string& text) {
  const size_t digits = text.find_first_of("+-") == 0 ? 1 : 0;
  if (text.size() == digits || text.find_first_not_of("0123456789", digits) != std::string::npos) {
    return text + " is no whole number";
  }
  int32_t number = 0;
  const char* const first = text.data() + (text[0] == '+' ? 1 : 0);
  if (std::from_chars(first, text.data() + text.size(), number).ec != std::errc()) {
    return text + " is too large a number";
  }
  text = std::to_string(number);
  return "";
}

}  // namespace marrowfin
