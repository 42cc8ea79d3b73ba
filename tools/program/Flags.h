#ifndef TOOLS_PROGRAM_FLAGS_H
#define TOOLS_PROGRAM_FLAGS_H

#include <charconv>
#include <cstdint>
#include <string>
#include <system_error>

namespace marrowfin {

// A check for CLI11 on flags that take a count, which otherwise takes -1 and whatever is too large
// for 2^64 - 1: what is wrong with `value`, nothing if it is a whole number of 64 bits.
inline std::string CheckCount(const std::string& value) {
  if (value.empty() || value.find_first_not_of("0123456789") != std::string::npos) {
    return value + " is no whole number";
  }
  uint64_t count = 0;
  const std::errc error = std::from_chars(value.data(), value.data() + value.size(), count).ec;
  return error == std::errc() ? "" : value + " is too large a number";
}

}  // namespace marrowfin

#endif
