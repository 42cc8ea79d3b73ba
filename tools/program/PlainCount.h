#ifndef TOOLS_PROGRAM_PLAINCOUNT_H
#define TOOLS_PROGRAM_PLAINCOUNT_H

#include <cstdint>
#include <string>

namespace marrowfin {

// "1 column", "7 columns", "2 switches": a count whose digits stand as they are, for lines that
// scripts read as well. `more` is what follows the word where it is not one.
inline std::string PlainCount(uint64_t count, const std::string& word,
                              const std::string& more = "s") {
  return std::to_string(count) + " " + word + (count == 1 ? "" : more);
}

}  // namespace marrowfin

#endif
