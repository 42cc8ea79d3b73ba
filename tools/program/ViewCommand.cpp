#include "tools/program/ViewCommand.h"

#include "tools/program/ShellWord.h"

namespace marrowfin {
std::string ShapeText(const ArrayShape& shape) {
  return "-c " + std::to_string(shape.clusters.columns) + " -d " +
         std::to_string(shape.domains.columns) + " -p " + std::to_string(shape.pes.columns);
}

std::string ViewCommand(const ArrayShape& shape, const std::string& file) {
  return "marrowfin " + ShapeText(shape) + " -f " + ShellWord(file);
}

}  // namespace marrowfin
