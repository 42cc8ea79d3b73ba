#include "render/plot/HeatPlot.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/ArrayGrid.h"

namespace marrowfin {

std::vector<size_t> AskedUnits(const HeatMap& map) {
  std::vector<size_t> units(map.values.size());
  std::iota(units.begin(), units.end(), size_t{0});
  return map.units.value_or(std::move(units));
}

std::vector<double> AskedValues(const HeatMap& map) {
  std::vector<double> values;
  for (const size_t unit : AskedUnits(map)) {
    values.push_back(map.values[unit]);
  }
  return values;
}

HeatScale ScaleOf(const HeatMap& map) { return ScaleOf(AskedValues(map), map.scaleMax); }

HeatPlot::HeatPlot(HeatMap heat)
    : map(std::move(heat)),
      units(AskedUnits(map)),
      scale(ScaleOf(map)),
      bar(AskedValues(map), scale, map.unit, LevelName(map.level), map.zero) {}

PlotBody::Margins HeatPlot::GetMargins(const PlotStyle& style) const {
  Margins margins = ArrayGrid::MarginsFor(map.shape, map.level, style);
  margins.right = style.slide ? 6 : ScaleBar::StandingWidth(style);
  return margins;
}

double HeatPlot::HeightFor(double width, const PlotStyle& style) const {
  return std::max(ArrayGrid::HeightFor(map.shape, map.level, width, style), 56 * style.text);
}

std::string HeatPlot::ValueText(double value) const {
  return map.whole ? CountText(static_cast<uint64_t>(value)) : ThreeDigits(value);
}

Color HeatPlot::ColorOf(double value, const PlotStyle& style) const {
  return style.theme->sequence[scale.StepOf(value)];
}

void HeatPlot::DrawCells(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const {
  for (const size_t i : units) {
    if (map.values[i] > 0) {
      canvas.Cell(grid.CellOf(i), ColorOf(map.values[i], style));
    } else if (grid.ShowsDots()) {
      grid.DrawDot(canvas, i, style);
    }
  }
}

void HeatPlot::DrawValues(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const {
  double largest = 0;
  for (const size_t i : units) {
    largest = std::max(largest, map.values[i]);
  }
  for (const size_t i : units) {
    if (map.values[i] > 0) {
      grid.DrawText(canvas, i, ValueText(map.values[i]), ColorOf(map.values[i], style),
                    map.values[i] == largest, style);
    }
  }
}

void HeatPlot::DrawRings(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const {
  std::vector<size_t> order = units;
  const size_t rings = std::min(ArrayGrid::RINGS, order.size());
  std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(rings), order.end(),
                    [&](size_t a, size_t b) {
                      return map.values[a] != map.values[b] ? map.values[a] > map.values[b] : a < b;
                    });
  std::vector<ArrayGrid::Ringed> ringed;
  for (size_t i = 0; i < rings && map.values[order[i]] > 0; ++i) {
    ringed.push_back({order[i], ValueText(map.values[order[i]])});
  }
  grid.DrawRings(canvas, ringed, style);
}

void HeatPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const ArrayGrid grid(map.shape, map.level, area, style);
  grid.DrawFrame(canvas, style);
  DrawCells(canvas, grid, style);
  const bool allFit = grid.ShowsTexts() && std::all_of(units.begin(), units.end(), [&](size_t i) {
                        return grid.Fits(ValueText(map.values[i]), style);
                      });
  if (allFit) {
    DrawValues(canvas, grid, style);
  } else {
    DrawRings(canvas, grid, style);
  }
  grid.DrawNumbers(canvas, style);
  if (!style.slide) {
    bar.DrawStanding(canvas, {grid.Bounds().x, area.y, grid.Bounds().width, area.height}, style);
  }
}

double HeatPlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  return bar.LyingHeight(style);
}

void HeatPlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  bar.DrawLying(canvas, box, style);
}

}  // namespace marrowfin
