#include "measure/expect/AskedUnits.h"

#include <utility>

#include "measure/Level.h"

namespace marrowfin {

const ArrayShape& ShapeOf(const RunFacts& facts) { return facts.counts->Places().Shape(); }

std::optional<Region> PositionsOf(const RunFacts& facts) {
  return facts.places ? facts.places->In(ShapeOf(facts)) : std::nullopt;
}

Place PlaceOf(size_t number, uint32_t columns) {
  return {static_cast<uint32_t>(number % columns), static_cast<uint32_t>(number / columns)};
}

std::vector<size_t> SwitchesOf(const RunFacts& facts) {
  const ArrayShape& shape = ShapeOf(facts);
  if (!facts.places || facts.places->kind == RegionWords::POSITIONS) {
    return SwitchesIn(shape, PositionsOf(facts));
  }
  if (facts.places->kind == RegionWords::DOMAIN) {
    return {};
  }
  return UnitsIn(shape, Level::CLUSTER, PositionsOf(facts));
}

Measure OfUnit(MeasureOf of, const std::string& name, const std::string& unit,
               const std::string& what, LookAt look,
               std::function<std::vector<PlacedNumber>(const RunFacts&)> numbers) {
  Measure measure;
  measure.name = std::string(MeasureOfName(of)) + "." + name;
  measure.of = of;
  measure.unit = unit;
  measure.what = what;
  measure.look = look;
  measure.numbers = std::move(numbers);
  return measure;
}

}  // namespace marrowfin
