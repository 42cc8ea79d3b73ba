#include "tools/program/Flags.h"

#include <charconv>
#include <cstdint>
#include <string_view>
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

std::string MakeSize(std::string& text) {
  constexpr std::string_view UNITS = "KMGT";
  std::string digits = text;
  const size_t unit = text.empty() ? std::string_view::npos : UNITS.find(text.back());
  if (unit != std::string_view::npos) {
    digits.pop_back();
  }
  uint64_t size = 0;
  const uint32_t shift = unit == std::string_view::npos ? 0 : 10 * static_cast<uint32_t>(unit + 1);
  if (!MakeDecimal(digits).empty()) {
    return text + " is no size: say bytes, or 64K, 256M, 2G";
  }
  std::from_chars(digits.data(), digits.data() + digits.size(), size);
  if (size > ~uint64_t{0} >> shift) {
    return text + " is too large a number";
  }
  text = std::to_string(size << shift);
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

void AddJsonFormat(CLI::App& app, std::string& format, const std::string& name) {
  app.add_flag_callback(
      "--json", [&format, name] { format = name; }, "The same as --format " + name);
}

}  // namespace marrowfin
