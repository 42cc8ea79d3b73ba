#include "render/plot/DiffPlot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/ArrayGrid.h"

namespace marrowfin {
namespace {

constexpr double LEAST_HATCHED = 6;  // pixels of a cell
constexpr double BAR = 9;            // points that a scale is wide
constexpr double BAR_COUNTS = 13;    // and its counts, at most

bool IsPrint(const PlotStyle& style) { return style.theme == &Theme::Print(); }

Color BarColor(const Theme& theme) { return Mixed(theme.rule, theme.mute, 1.0 / 3); }

// The scale of a map, upright right of it.
class Bar {
 public:
  Bar(const DiffScale& scale, const std::vector<std::optional<double>>& changes)
      : scale(scale), counts(Theme::STEPS) {
    for (const std::optional<double>& change : changes) {
      same += change && *change == 0 ? 1 : 0;
      if (change && *change != 0) {
        ++counts[scale.StepOf(*change)];
      }
    }
  }

  void Draw(Canvas& canvas, const Box& area, const std::string& unit, const std::string& thing,
            bool hatched, const PlotStyle& style) const {
    const double size = style.LabelSize();
    const double left = area.Right() + 6;
    std::vector<std::string> lines = WrapText(unit, Weight::REGULAR, size, 44 * style.text);
    if (same > 0) {
      const std::vector<std::string> more =
          WrapText(CountOf(same, thing) + " the same", Weight::REGULAR, size, 44 * style.text);
      lines.insert(lines.begin(), "");
      lines.insert(lines.begin(), more.begin(), more.end());
    }
    const double heading = static_cast<double>(lines.size()) * size * 1.3 + 4;
    const double height =
        std::min(area.height - heading, std::max(area.height * 0.62, 40 * style.text));
    const double top = area.Bottom() - height;
    for (size_t i = 0; i < lines.size(); ++i) {
      canvas.Text(lines[i], {left, top - heading + (static_cast<double>(i) + 1) * size * 1.3 - 2},
                  Align::LEFT, size, style.theme->ink);
    }
    DrawSteps(canvas, {area.Right() + 20 * style.text, top, BAR * style.text, height}, hatched,
              style);
  }

 private:
  void DrawSteps(Canvas& canvas, const Box& bar, bool hatched, const PlotStyle& style) const {
    const Theme& theme = *style.theme;
    const double size = style.LabelSize();
    const double step = bar.height / static_cast<double>(Theme::STEPS);
    const size_t most = std::max<size_t>(1, *std::max_element(counts.begin(), counts.end()));
    for (size_t i = 0; i < Theme::STEPS; ++i) {
      const Box box = {bar.x, bar.Bottom() - static_cast<double>(i + 1) * step, bar.width, step};
      canvas.Cell(box, theme.divergence[i]);
      if (hatched && i < Theme::STEPS / 2) {
        canvas.Hatch(box, InkOn(theme.divergence[i]));
      }
      if (counts[i] > 0) {
        const double length =
            std::max(canvas.Pixel(), BAR_COUNTS * style.text * static_cast<double>(counts[i]) /
                                         static_cast<double>(most));
        canvas.Fill({bar.x - 1 - length, box.y + step * 0.15, length, step * 0.7}, BarColor(theme));
      }
    }
    canvas.Frame(bar, {theme.mute, 0.35});
    for (const double part : {0.0, 0.5, 1.0}) {
      const double value = (2 * part - 1) * scale.end;
      const double y = bar.Bottom() - part * bar.height;
      canvas.Horizontal(bar.Right(), bar.Right() + 2, y, {theme.ink, 0.35});
      canvas.Text(value == 0 ? "0" : scale.Text(value), {bar.Right() + 3, y + size * 0.36},
                  Align::LEFT, size, theme.ink);
    }
  }

  const DiffScale& scale;
  std::vector<size_t> counts;  // changes on each step
  size_t same = 0;
};

}  // namespace

size_t DiffScale::StepOf(double change) const {
  const double half = static_cast<double>(Theme::STEPS / 2);
  // The two steps at 0 are one for each sign, however small the change.
  const double steps = std::min(half - 1, std::floor(std::abs(change) / end * half));
  return static_cast<size_t>(change < 0 ? half - 1 - steps : half + steps);
}

std::string DiffScale::Text(double change) const {
  char digits[64];
  std::snprintf(digits, sizeof(digits), "%.*f", decimals, std::abs(change));
  const std::string text = digits;
  const bool zero = text.find_first_not_of("0.") == std::string::npos;
  return (change > 0 ? "+" : change < 0 ? "−" : "") + (zero && change != 0 ? "0" : text);
}

DiffScale DiffScaleOf(const std::vector<std::optional<double>>& changes) {
  std::vector<double> sizes;
  for (const std::optional<double>& change : changes) {
    if (change && *change != 0) {
      sizes.push_back(std::abs(*change));
    }
  }
  DiffScale scale;
  if (sizes.empty()) {
    return scale;
  }
  std::sort(sizes.begin(), sizes.end());
  const double most = sizes[(sizes.size() * 99 + 99) / 100 - 1];
  scale.end = sizes.back() > 1.5 * most ? most : sizes.back();
  scale.beyond =
      static_cast<size_t>(sizes.end() - std::upper_bound(sizes.begin(), sizes.end(), scale.end));
  scale.decimals = std::clamp(2 - static_cast<int>(std::floor(std::log10(sizes.back()))), 0, 9);
  return scale;
}

DiffPlot::DiffPlot(const ArrayShape& shape, Level level, std::vector<DiffPanel> panels)
    : shape(shape), level(level), panels(std::move(panels)) {}

bool DiffPlot::AreHatched(const PlotStyle& style) const { return IsPrint(style); }

// One for each panel, or two where signs cannot be told apart in it.
std::vector<DiffPlot::Map> DiffPlot::MapsFor(double width, const PlotStyle& style) const {
  const ArrayGrid grid(shape, level, {0, 0, width, 1e6}, style);
  const bool split = IsPrint(style) && grid.CellSize() < LEAST_HATCHED / style.Scale();
  std::vector<Map> maps;
  for (const DiffPanel& panel : panels) {
    const DiffScale scale = DiffScaleOf(panel.changes);
    const bool alone = panels.size() == 1 || style.slide;
    const std::string heading = alone ? "" : panel.heading;
    if (split) {
      const std::string before = heading.empty() ? "" : heading + ": ";
      maps.push_back({&panel, scale, Sign::UP, before + "increases"});
      maps.push_back({&panel, scale, Sign::DOWN, before + "decreases"});
    } else {
      maps.push_back({&panel, scale, Sign::BOTH, heading});
    }
    if (style.slide) {
      break;
    }
  }
  return maps;
}

PlotBody::Margins DiffPlot::GetMargins(const PlotStyle& style) const {
  Margins margins = ArrayGrid::MarginsFor(shape, level, style);
  margins.right = style.slide ? 6 : 52 * style.text;
  return margins;
}

double DiffPlot::HeadingHeight(const PlotStyle& style) const { return style.AxisSize() * 1.9; }

double DiffPlot::BelowHeight(const PlotStyle& style) const {
  return ArrayGrid::MarginsFor(shape, level, style).below + 4;
}

double DiffPlot::HeightFor(double width, const PlotStyle& style) const {
  return HeightOf(std::max(ArrayGrid::HeightFor(shape, level, width, style), 64 * style.text),
                  width, style);
}

double DiffPlot::LeastHeight(double width, const PlotStyle& style) const {
  return HeightOf(44 * style.text, width, style);
}

double DiffPlot::HeightOf(double each, double width, const PlotStyle& style) const {
  double height = 0;
  for (const Map& map : MapsFor(width, style)) {
    height += each + (map.heading.empty() ? 0 : HeadingHeight(style)) +
              (height > 0 ? BelowHeight(style) : 0);
  }
  return height;
}

void DiffPlot::DrawMap(Canvas& canvas, const Map& map, const Box& area,
                       const PlotStyle& style) const {
  const ArrayGrid grid(shape, level, area, style);
  const Theme& theme = *style.theme;
  const std::vector<std::optional<double>>& changes = map.panel->changes;
  const bool hatched = AreHatched(style) && map.sign == Sign::BOTH;
  std::vector<size_t> shown;
  grid.DrawFrame(canvas, style);
  for (size_t i = 0; i < changes.size(); ++i) {
    const bool wanted = changes[i] && *changes[i] != 0 &&
                        (map.sign == Sign::BOTH || (*changes[i] > 0) == (map.sign == Sign::UP));
    if (wanted) {
      const Color color = theme.divergence[map.scale.StepOf(*changes[i])];
      canvas.Cell(grid.CellOf(i), color);
      if (hatched && *changes[i] < 0) {
        canvas.Hatch(grid.CellOf(i), InkOn(color));
      }
      shown.push_back(i);
    } else if (!changes[i]) {
      const Box box = grid.CellOf(i);
      canvas.Line({{box.x, box.y}, {box.Right(), box.Bottom()}}, {theme.rule, 0.35});
    } else if (grid.ShowsDots()) {
      grid.DrawDot(canvas, i, style);
    }
  }
  std::stable_sort(shown.begin(), shown.end(), [&](size_t a, size_t b) {
    return std::abs(*changes[a]) > std::abs(*changes[b]);
  });
  const bool allFit = grid.ShowsTexts() && std::all_of(shown.begin(), shown.end(), [&](size_t i) {
                        return grid.Fits(map.scale.Text(*changes[i]), style);
                      });
  if (allFit) {
    for (const size_t i : shown) {
      const Color color = theme.divergence[map.scale.StepOf(*changes[i])];
      // On hatching no letter is read: it stands on a patch of the colour.
      if (hatched && *changes[i] < 0) {
        const double width =
            TextWidth(map.scale.Text(*changes[i]), Weight::BOLD, style.LabelSize()) + 1.6;
        const Spot centre = grid.CentreOf(i);
        canvas.Fill({centre.x - width / 2, centre.y - style.LabelSize() * 0.6, width,
                     style.LabelSize() * 1.2},
                    color);
      }
      grid.DrawText(canvas, i, map.scale.Text(*changes[i]), color, i == shown[0], style);
    }
  } else {
    std::vector<ArrayGrid::Ringed> ringed;
    for (size_t i = 0; i < std::min(ArrayGrid::RINGS, shown.size()); ++i) {
      ringed.push_back({shown[i], map.scale.Text(*changes[shown[i]])});
    }
    grid.DrawRings(canvas, ringed, style);
  }
  grid.DrawNumbers(canvas, style);
  if (style.slide) {
    return;
  }
  Bar(map.scale, changes)
      .Draw(canvas, {grid.Bounds().x, area.y, grid.Bounds().width, area.height}, map.panel->unit,
            LevelName(level), hatched, style);
}

double DiffPlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  return 70 * style.text;
}

void DiffPlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  const DiffPanel& panel = panels.front();
  // It stands right of a plot: here of one without width.
  Bar(DiffScaleOf(panel.changes), panel.changes)
      .Draw(canvas, {box.x - 6, box.y, 0, box.height}, panel.unit, LevelName(level),
            AreHatched(style), style);
}

void DiffPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const std::vector<Map> maps = MapsFor(area.width, style);
  double taken = BelowHeight(style) * static_cast<double>(maps.size() - 1);
  for (const Map& map : maps) {
    taken += map.heading.empty() ? 0 : HeadingHeight(style);
  }
  const double each = (area.height - taken) / static_cast<double>(maps.size());
  double top = area.y;
  for (const Map& map : maps) {
    if (!map.heading.empty()) {
      canvas.Text(map.heading, {area.x, top + style.AxisSize()}, Align::LEFT, style.AxisSize(),
                  style.theme->ink, Weight::BOLD);
      top += HeadingHeight(style);
    }
    DrawMap(canvas, map, {area.x, top, area.width, each}, style);
    top += each + BelowHeight(style);
  }
}

}  // namespace marrowfin
