#include "render/plot/ConePlot.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

constexpr double LEAST_EVENT = 4;  // points of the square
constexpr double LARGEST_EVENT = 7;
constexpr double EDGE = 0.8;   // points of paper around it
constexpr double FRAME = 1.4;  // points around its cell

std::string TextOf(double fires) { return CountText(static_cast<uint64_t>(fires)); }

void DrawEvent(Canvas& canvas, Spot at, double side, const Theme& theme) {
  const double outer = side + 2 * EDGE;
  canvas.Fill({at.x - outer / 2, at.y - outer / 2, outer, outer}, theme.paper);
  canvas.Fill({at.x - side / 2, at.y - side / 2, side, side}, theme.ink);
}

}  // namespace

ConePlot::ConePlot(const ArrayShape& shape, Level level, std::vector<double> ofUnits,
                   std::optional<Place> event, uint64_t cycle, std::shared_ptr<const SpaceTime> map,
                   SpaceTimeColours colours)
    : ArrayAndMapPlot(shape, level, std::move(map), std::move(colours)),
      fires(std::move(ofUnits)),
      scale(ScaleOf(fires)),
      event(event),
      cycle(cycle) {}

void ConePlot::DrawOnArray(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const {
  for (size_t unit = 0; unit < fires.size(); ++unit) {
    if (fires[unit] > 0) {
      canvas.Cell(grid.CellOf(unit), style.theme->sequence[scale.StepOf(fires[unit])]);
    }
  }
  const bool allFit = grid.ShowsTexts() && std::all_of(fires.begin(), fires.end(), [&](double of) {
                        return grid.Fits(TextOf(of), style);
                      });
  if (allFit) {
    DrawValues(canvas, grid, style);
  } else {
    DrawRings(canvas, grid, style);
  }
}

// In cells that have room for them; that of the event has a frame.
void ConePlot::DrawValues(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const {
  for (size_t unit = 0; unit < fires.size(); ++unit) {
    if (fires[unit] > 0) {
      grid.DrawText(canvas, unit, TextOf(fires[unit]),
                    style.theme->sequence[scale.StepOf(fires[unit])], EventUnit() == unit, style);
    }
  }
  if (const std::optional<size_t> unit = EventUnit()) {
    canvas.Frame(grid.CellOf(*unit), {style.theme->ink, FRAME});
  }
}

// Else beside the event and the largest; it comes first, since what would lie on another is left
// out.
void ConePlot::DrawRings(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const {
  std::vector<size_t> order(fires.size());
  std::iota(order.begin(), order.end(), size_t{0});
  const std::optional<size_t> first = EventUnit();
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    return (first == a) != (first == b) ? first == a : fires[a] > fires[b];
  });
  std::vector<ArrayGrid::Ringed> ringed;
  for (const size_t unit : order) {
    if (fires[unit] > 0 && ringed.size() < ArrayGrid::RINGS) {
      ringed.push_back({unit, TextOf(fires[unit])});
    }
  }
  grid.DrawRings(canvas, ringed, style);
  if (first) {
    DrawEvent(canvas, grid.CentreOf(*first),
              std::clamp(grid.CellSize() * 0.45, LEAST_EVENT, LARGEST_EVENT), *style.theme);
  }
}

std::optional<size_t> ConePlot::EventUnit() const {
  return event ? std::optional(NumberOf(UnitOf(Shape(), GetLevel(), *event))) : std::nullopt;
}

void ConePlot::DrawOnMap(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  if (event) {
    DrawEvent(canvas, OnMap(area, *event, cycle), LEAST_EVENT, *style.theme);
  }
}

}  // namespace marrowfin
