#include "tools/program/ShellWord.h"

namespace marrowfin {

std::string ShellWord(const std::string& word) {
  const char plain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,:@%";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
    return word;
  }
  std::string quoted = "'";
  for (const char c : word) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

}  // namespace marrowfin
