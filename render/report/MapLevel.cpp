#include "render/report/MapLevel.h"

#include <cstdint>

#include "render/plot/ArrayGrid.h"
#include "render/plot/Page.h"

namespace marrowfin {
namespace {

// Cells of a map in a page; of more the next level is drawn, since each of them is a shape.
constexpr uint64_t MOST_CELLS = 16384;

}  // namespace

Level MapLevelOf(const ArrayShape& shape) {
  const PlotStyle style;
  Level level = LevelFor(shape, style.PlotWidth(), style.Scale());
  const auto cells = [&] {
    const PerAxis units = UnitsOf(shape, level);
    return uint64_t{units.columns} * units.rows;
  };
  while (level != Level::CLUSTER && cells() > MOST_CELLS) {
    level = static_cast<Level>(static_cast<int>(level) + 1);
  }
  return level;
}

}  // namespace marrowfin
