#include "measure/Level.h"

#include <algorithm>

namespace marrowfin {

const char* LevelName(Level level) {
  switch (level) {
    case Level::PE:
      return "PE";
    case Level::DOMAIN:
      return "domain";
    case Level::CLUSTER:
      break;
  }
  return "cluster";
}

PerAxis UnitsOf(const ArrayShape& shape, Level level) {
  switch (level) {
    case Level::PE:
      return {shape.Columns(), shape.Rows()};
    case Level::DOMAIN:
      return {shape.clusters.columns * shape.domains.columns,
              shape.clusters.rows * shape.domains.rows};
    case Level::CLUSTER:
      break;
  }
  return shape.clusters;
}

Place UnitOf(const ArrayShape& shape, Level level, Place element) {
  switch (level) {
    case Level::PE:
      return element;
    case Level::DOMAIN:
      return shape.DomainOf(element);
    case Level::CLUSTER:
      break;
  }
  return shape.ClusterOf(element);
}

std::vector<double> Reduce(const ArrayShape& shape, Level level, Reduction reduction,
                           std::span<const double> elements) {
  const PerAxis units = UnitsOf(shape, level);
  std::vector<double> reduced(static_cast<size_t>(units.columns) * units.rows);
  for (size_t i = 0; i < elements.size(); ++i) {
    const Place unit = UnitOf(shape, level, shape.ElementAt(i));
    double& value = reduced[static_cast<size_t>(unit.row) * units.columns + unit.column];
    value = reduction == Reduction::MAX ? std::max(value, elements[i]) : value + elements[i];
  }
  if (reduction == Reduction::MEAN && !reduced.empty()) {
    const double each = static_cast<double>(elements.size()) / static_cast<double>(reduced.size());
    for (double& value : reduced) {
      value /= each;
    }
  }
  return reduced;
}

}  // namespace marrowfin
