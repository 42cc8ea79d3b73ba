#include "tools/program/ViewCommand.h"

#include "tools/program/Output.h"
#include "tools/program/ShellWord.h"

namespace marrowfin {

namespace {

std::string AxesText(PerAxis counts) {
  return std::to_string(counts.columns) + " x " + std::to_string(counts.rows);
}

}  // namespace

std::string ShapeText(const ArrayShape& shape) {
  return "-c " + std::to_string(shape.clusters.columns) + " -d " +
         std::to_string(shape.domains.columns) + " -p " + std::to_string(shape.pes.columns);
}

std::string LevelsText(const ArrayShape& shape) {
  return AxesText(shape.clusters) + " clusters of " + AxesText(shape.domains) + " domains of " +
         AxesText(shape.pes) + " elements";
}

std::string ArrayText(const ArrayShape& shape) {
  return shape.IsSquare() ? ShapeText(shape) : LevelsText(shape);
}

std::string ShownName(const std::string& file) { return file == STANDARD_STREAM ? "FILE" : file; }

std::string ViewCommand(const ArrayShape& shape, const std::string& file) {
  return "marrowfin " + ShapeText(shape) + " -f " + ShellWord(file);
}

}  // namespace marrowfin
