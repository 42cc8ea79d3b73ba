#include "render/plot/ArrayAndMapPlot.h"

#include <algorithm>
#include <utility>

namespace marrowfin {
namespace {

constexpr double BETWEEN = 14;      // points
constexpr double MAP_HEIGHT = 0.5;  // of its width, below
constexpr double PALE = 0.25;       // of the colour of rules in that of cells

bool IsNarrow(const PlotStyle& style) { return style.width < ArrayAndMapPlot::NARROW * style.text; }

}  // namespace

ArrayAndMapPlot::ArrayAndMapPlot(const ArrayShape& shape, Level level,
                                 std::shared_ptr<const SpaceTime> counted, SpaceTimeColours colours)
    : shape(shape), level(level), times(std::move(counted)), map(times, std::move(colours)) {}

// The map alone, as a slide has it: without bars and scale.
PlotStyle ArrayAndMapPlot::MapStyle(const PlotStyle& style) {
  PlotStyle bare = style;
  bare.slide = true;
  return bare;
}

PlotBody::Margins ArrayAndMapPlot::GetMargins(const PlotStyle& style) const {
  const Margins array = ArrayGrid::MarginsFor(shape, level, style);
  if (style.slide) {
    return {array.left, 6, array.below};
  }
  const Margins beside = map.GetMargins(MapStyle(style));
  return {IsNarrow(style) ? std::max(array.left, beside.left) : array.left, 8,
          IsNarrow(style) ? beside.below : std::max(array.below, beside.below)};
}

double ArrayAndMapPlot::HeightFor(double width, const PlotStyle& style) const {
  if (style.slide) {
    return ArrayGrid::HeightFor(shape, level, width, style);
  }
  if (IsNarrow(style)) {
    return ArrayGrid::HeightFor(shape, level, width, style) +
           ArrayGrid::MarginsFor(shape, level, style).below + BETWEEN * style.text +
           width * MAP_HEIGHT;
  }
  return std::max(ArrayGrid::HeightFor(shape, level, width * ARRAY_PART, style), 70 * style.text);
}

ArrayAndMapPlot::Panels ArrayAndMapPlot::PanelsOf(const Box& area, const PlotStyle& style) const {
  if (style.slide) {
    return {area, {}};
  }
  if (IsNarrow(style)) {
    const double below = area.width * MAP_HEIGHT;
    const double between = ArrayGrid::MarginsFor(shape, level, style).below + BETWEEN * style.text;
    const double above = std::max(1.0, area.height - below - between);
    return {{area.x, area.y, area.width, above},
            {area.x, area.Bottom() - below, area.width, below}};
  }
  // On a low page squares leave room to the map.
  const double array = std::min(
      area.width * ARRAY_PART,
      ArrayGrid(shape, level, {0, 0, area.width * ARRAY_PART, area.height}, style).Bounds().width);
  const double left = map.GetMargins(MapStyle(style)).left + BETWEEN * style.text;
  return {{area.x, area.y, array, area.height},
          {area.x + array + left, area.y, std::max(1.0, area.width - array - left), area.height}};
}

size_t ArrayAndMapPlot::NumberOf(Place unit) const {
  return static_cast<size_t>(unit.row) * UnitsOf(shape, level).columns + unit.column;
}

Spot ArrayAndMapPlot::OnMap(const Box& area, Place element, uint64_t cycle) const {
  const CycleScale x = {times->Times().first, times->Times().last, area.x, area.Right()};
  const double row = area.height / static_cast<double>(times->Rows().Count());
  const double above = static_cast<double>(times->Rows().RowOf(element)) + 0.5;
  return {x.At(cycle, 0.5), area.Bottom() - row * above};
}

void ArrayAndMapPlot::DrawArray(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const ArrayGrid grid(shape, level, area, style);
  const Color pale = Mixed(style.theme->paper, style.theme->rule, PALE);
  for (size_t unit = 0; unit < grid.Units(); ++unit) {
    canvas.Cell(grid.CellOf(unit), pale);
  }
  grid.DrawNumbers(canvas, style);
  DrawOnArray(canvas, grid, style);
}

void ArrayAndMapPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Panels panels = PanelsOf(area, style);
  DrawArray(canvas, panels.array, style);
  if (panels.map.width > 0) {
    map.Draw(canvas, panels.map, MapStyle(style));
    DrawOnMap(canvas, panels.map, style);
  }
}

}  // namespace marrowfin
