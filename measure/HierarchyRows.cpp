#include "measure/HierarchyRows.h"

#include <array>

namespace marrowfin {
namespace {

// A digit of the numbers in the line: it counts from 0 up to `base`, and one of it stands for
// `weight` elements.
struct Digit {
  uint32_t base = 1;
  size_t weight = 1;
};

// Column and row of each level in turns, the lowest digit first.
std::array<Digit, 6> DigitsOf(const ArrayShape& shape) {
  std::array<Digit, 6> digits;
  size_t weight = 1;
  size_t i = 0;
  for (const PerAxis& level : {shape.pes, shape.domains, shape.clusters}) {
    for (const uint32_t base : {level.columns, level.rows}) {
      digits[i++] = {base, weight};
      weight *= base;
    }
  }
  return digits;
}

// The fewest elements a row that make at most so many rows.
size_t ElementsFor(const ArrayShape& shape, size_t most) {
  for (const Digit& digit : DigitsOf(shape)) {
    for (uint32_t part = 1; part <= digit.base; ++part) {
      const size_t elements = digit.weight * part;
      if (digit.base % part == 0 && shape.Elements() / elements <= most) {
        return elements;
      }
    }
  }
  return shape.Elements();
}

// What each of `count` columns of the array adds to numbers in the line, or each of its rows, whose
// digits are the second of each level.
std::vector<size_t> PartsOf(const ArrayShape& shape, uint32_t count, size_t firstDigit) {
  const std::array<Digit, 6> digits = DigitsOf(shape);
  std::vector<size_t> parts(count);
  for (uint32_t at = 0; at < count; ++at) {
    uint32_t rest = at;
    for (size_t i = firstDigit; i < digits.size(); i += 2) {
      parts[at] += rest % digits[i].base * digits[i].weight;
      rest /= digits[i].base;
    }
  }
  return parts;
}

}  // namespace

HierarchyRows::HierarchyRows(const ArrayShape& shape, size_t most)
    : shape(shape),
      elements(ElementsFor(shape, most)),
      ofColumn(PartsOf(shape, shape.Columns(), 0)),
      ofRow(PartsOf(shape, shape.Rows(), 1)) {
  for (std::vector<size_t>* parts : {&ofColumn, &ofRow}) {
    for (size_t& part : *parts) {
      part /= elements;
    }
  }
}

Place HierarchyRows::FirstOf(size_t row) const {
  const std::array<Digit, 6> digits = DigitsOf(shape);
  Place place;
  PerAxis side;  // of the level, in elements
  for (size_t i = 0; i < digits.size(); i += 2) {
    const size_t number = row * elements;
    place.column +=
        static_cast<uint32_t>(number / digits[i].weight % digits[i].base) * side.columns;
    place.row +=
        static_cast<uint32_t>(number / digits[i + 1].weight % digits[i + 1].base) * side.rows;
    side.columns *= digits[i].base;
    side.rows *= digits[i + 1].base;
  }
  return place;
}

}  // namespace marrowfin
