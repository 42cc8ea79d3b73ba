#include "measure/Ways.h"

#include <algorithm>

namespace marrowfin {
namespace {

// Whoever describes an array may claim any number of columns; what lies behind these is outside.
constexpr uint32_t LONGEST = 1 << 20;

}  // namespace

Ways::Ways(const ArrayShape& shape, bool wrapColumns, bool wrapRows)
    : flat(shape.Switches() == 1 && shape.domains == PerAxis{1, 1}),
      columns(UnitsAlong(shape.clusters.columns, shape.domains.columns, shape.pes.columns, flat)),
      rows(UnitsAlong(shape.clusters.rows, shape.domains.rows, shape.pes.rows, flat)),
      aroundColumns(wrapColumns ? (flat ? shape.pes.columns : shape.clusters.columns) : 0),
      aroundRows(wrapRows ? (flat ? shape.pes.rows : shape.clusters.rows) : 0) {}

std::vector<Ways::Unit> Ways::UnitsAlong(uint32_t clusters, uint32_t domains, uint32_t pes,
                                         bool flat) {
  const uint64_t length = uint64_t{clusters} * domains * pes;
  std::vector<Unit> units(std::min<uint64_t>(length, LONGEST));
  for (uint32_t i = 0; i < units.size(); ++i) {
    units[i] = {i / pes, flat ? i : i / (domains * pes)};
  }
  return units;
}

std::string Ways::Text(uint32_t way) const {
  if (way == MOST - 1) {
    return "to or from outside the array";
  }
  if (flat) {
    return way == 0 ? "to itself" : std::to_string(way) + (way == 1 ? " link away" : " links away");
  }
  return way == 0   ? "within a domain"
         : way == 1 ? "within a cluster"
                    : std::to_string(way - 1) + (way == 2 ? " cluster away" : " clusters away");
}

}  // namespace marrowfin
