#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

// A word of a shell command line, quoted where it has to be.
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

}  // namespace

std::string ShapeText(const ArrayShape& shape) {
  return "-c " + std::to_string(shape.clusters.columns) + " -d " +
         std::to_string(shape.domains.columns) + " -p " + std::to_string(shape.pes.columns);
}

std::string ViewCommand(const ArrayShape& shape, const std::string& file) {
  return "marrowfin " + ShapeText(shape) + " -f " + ShellWord(file);
}

}  // namespace marrowfin
