#ifndef TOOLS_FLAGS_H
#define TOOLS_FLAGS_H

#include <string>

namespace marrowfin {

// A check for CLI11 on flags that take a count, which otherwise takes -1 for 2^64 - 1: what is
// wrong with `value`, nothing if it is a whole number.
inline std::string CheckCount(const std::string& value) {
  return value.empty() || value.find_first_not_of("0123456789") != std::string::npos
             ? value + " is no whole number"
             : "";
}

}  // namespace marrowfin

#endif
