#include "render/plot/WhyPlot.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "render/plot/ArrayGrid.h"
#include "render/plot/Axis.h"

namespace marrowfin {
namespace {

constexpr double NARROW = 300;       // points of a page on which the map stands below
constexpr double ARRAY_PART = 0.46;  // of the width, where it stands beside
constexpr double BETWEEN = 14;       // points
constexpr double MAP_HEIGHT = 0.5;   // of its width, below
constexpr double THINNEST = 0.5;     // points of a line
constexpr double THICKEST = 2.4;
constexpr double LEAST_STOP = 1.2;  // points of a square
constexpr double LARGEST_STOP = 4;
constexpr double PALE = 0.25;  // of the colour of rules in that of cells

bool IsNarrow(const PlotStyle& style) { return style.width < NARROW * style.text; }

}  // namespace

WhyPlot::WhyPlot(const ArrayShape& shape, Level level, ChainPath path,
                 std::shared_ptr<const SpaceTime> counted, SpaceTimeColours colours)
    : shape(shape),
      level(level),
      path(std::move(path)),
      times(std::move(counted)),
      map(times, std::move(colours)) {}

// The map alone, as a slide has it: without bars and scale.
PlotStyle WhyPlot::MapStyle(const PlotStyle& style) {
  PlotStyle bare = style;
  bare.slide = true;
  return bare;
}

PlotBody::Margins WhyPlot::GetMargins(const PlotStyle& style) const {
  const Margins array = ArrayGrid::MarginsFor(shape, level, style);
  if (style.slide) {
    return {array.left, 6, array.below};
  }
  const Margins beside = map.GetMargins(MapStyle(style));
  return {IsNarrow(style) ? std::max(array.left, beside.left) : array.left, 8,
          IsNarrow(style) ? beside.below : std::max(array.below, beside.below)};
}

double WhyPlot::HeightFor(double width, const PlotStyle& style) const {
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

WhyPlot::Panels WhyPlot::PanelsOf(const Box& area, const PlotStyle& style) const {
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

void WhyPlot::DrawArray(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const ArrayGrid grid(shape, level, area, style);
  const Color pale = Mixed(theme.paper, theme.rule, PALE);
  for (size_t unit = 0; unit < grid.Units(); ++unit) {
    canvas.Cell(grid.CellOf(unit), pale);
  }
  grid.DrawNumbers(canvas, style);
  if (path.stops.empty()) {
    return;
  }
  const auto centreOf = [&](Place unit) {
    return grid.CentreOf(static_cast<size_t>(unit.row) * UnitsOf(shape, level).columns +
                         unit.column);
  };
  // What goes on often lies above what went once.
  std::vector<ChainMove> moves = path.moves;
  std::stable_sort(moves.begin(), moves.end(),
                   [](const ChainMove& a, const ChainMove& b) { return a.times < b.times; });
  const double most = moves.empty() ? 1 : static_cast<double>(moves.back().times);
  for (const ChainMove& move : moves) {
    const double share = static_cast<double>(move.times) / most;
    canvas.Line({centreOf(move.from), centreOf(move.to)},
                {theme.categories[0], THINNEST + (THICKEST - THINNEST) * share});
  }
  const double stop = std::clamp(grid.CellSize() * 0.45, LEAST_STOP, LARGEST_STOP);
  const auto square = [&](Place unit, double side) {
    const Spot centre = centreOf(unit);
    canvas.Fill({centre.x - side / 2, centre.y - side / 2, side, side}, theme.ink);
  };
  for (const ChainMove& move : moves) {
    square(move.from, stop);
    square(move.to, stop);
  }
  const Spot start = centreOf(UnitOf(shape, level, path.stops.front().at));
  const double radius = std::max(stop, 2.6);
  canvas.Ring(start, radius, {theme.paper, 2.4});
  canvas.Ring(start, radius, {theme.ink, 1.1});
  square(UnitOf(shape, level, path.stops.back().at), std::max(stop * 1.6, 4.0));
}

void WhyPlot::DrawMap(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  map.Draw(canvas, area, MapStyle(style));
  const CycleScale x = {times->Times().first, times->Times().last, area.x, area.Right()};
  const double row = area.height / static_cast<double>(times->Rows().Count());
  std::vector<Spot> spots;
  for (const ChainStop& stop : path.stops) {
    const double above = static_cast<double>(times->Rows().RowOf(stop.at)) + 0.5;
    const Spot spot = {x.At(stop.time, 0.5), area.Bottom() - row * above};
    if (spots.empty() || spot.x != spots.back().x || spot.y != spots.back().y) {
      spots.push_back(spot);
    }
  }
  if (spots.size() > 1) {
    canvas.Line(spots, {style.theme->paper, 2.4});
    canvas.Line(spots, {style.theme->categories[0], 1.1});
  }
}

void WhyPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Panels panels = PanelsOf(area, style);
  DrawArray(canvas, panels.array, style);
  if (panels.map.width > 0) {
    DrawMap(canvas, panels.map, style);
  }
}

}  // namespace marrowfin
