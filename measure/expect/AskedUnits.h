#ifndef MEASURE_EXPECT_ASKEDUNITS_H
#define MEASURE_EXPECT_ASKEDUNITS_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "measure/expect/Measure.h"
#include "trace/ask/Region.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// What the measures share of which each unit of the array has one.

const ArrayShape& ShapeOf(const RunFacts& facts);

// The positions that were asked for; all where none were.
std::optional<Region> PositionsOf(const RunFacts& facts);

// The unit of a number in a grid of so many columns.
Place PlaceOf(size_t number, uint32_t columns);

// The numbers of the switches that were asked for. A cluster stands for its switch, wherever
// records have it; positions are those of records.
std::vector<size_t> SwitchesOf(const RunFacts& facts);

// A measure of each unit, which is called by what it is of: "element.fires".
Measure OfUnit(MeasureOf of, const std::string& name, const std::string& unit,
               const std::string& what, LookAt look,
               std::function<std::vector<PlacedNumber>(const RunFacts&)> numbers);

}  // namespace marrowfin

#endif
