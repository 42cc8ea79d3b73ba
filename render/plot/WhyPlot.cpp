#include "render/plot/WhyPlot.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace marrowfin {
namespace {

constexpr double THINNEST = 0.5;  // points of a line
constexpr double THICKEST = 2.4;
constexpr double LEAST_STOP = 1.2;  // points of a square
constexpr double LARGEST_STOP = 4;

}  // namespace

WhyPlot::WhyPlot(const ArrayShape& shape, Level level, ChainPath path,
                 std::shared_ptr<const SpaceTime> map, SpaceTimeColours colours)
    : ArrayAndMapPlot(shape, level, std::move(map), std::move(colours)), path(std::move(path)) {}

void WhyPlot::DrawOnArray(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  if (path.stops.empty()) {
    return;
  }
  const auto centreOf = [&](Place unit) { return grid.CentreOf(NumberOf(unit)); };
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
  const Spot start = centreOf(UnitOf(Shape(), GetLevel(), path.stops.front().at));
  const double radius = std::max(stop, 2.6);
  canvas.Ring(start, radius, {theme.paper, 2.4});
  canvas.Ring(start, radius, {theme.ink, 1.1});
  square(UnitOf(Shape(), GetLevel(), path.stops.back().at), std::max(stop * 1.6, 4.0));
}

void WhyPlot::DrawOnMap(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  std::vector<Spot> spots;
  for (const ChainStop& stop : path.stops) {
    const Spot spot = OnMap(area, stop.at, stop.time);
    if (spots.empty() || spot.x != spots.back().x || spot.y != spots.back().y) {
      spots.push_back(spot);
    }
  }
  if (spots.size() > 1) {
    canvas.Line(spots, {style.theme->paper, 2.4});
    canvas.Line(spots, {style.theme->categories[0], 1.1});
  }
}

}  // namespace marrowfin
