#include "render/plot/HeatPlot.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/Axis.h"

namespace marrowfin {
namespace {

constexpr double DOMAIN_GAP = 1;  // points
constexpr double CLUSTER_GAP = 3;
constexpr double MOST_DOMAIN_GAP = 0.18;  // of a cell
constexpr double MOST_CLUSTER_GAP = 0.5;
constexpr double LEAST_GAPPED = 6;  // pixels of a cell
constexpr double LEAST_DOTTED = 6;
constexpr double LABELLED = 18;  // points of a cell
constexpr double APART = 9;      // points between numbers
constexpr size_t RINGS = 5;
constexpr double TALLEST = 1.3;  // height of a map, of its width

// The units along one axis of an array, in groups.
struct Units {
  uint32_t count = 1;
  uint32_t perDomain = 0;  // units; 0 where domains are not parted
  uint32_t perCluster = 0;

  uint32_t Clusters() const { return perCluster == 0 ? 0 : (count - 1) / perCluster; }
  uint32_t Domains() const { return perDomain == 0 ? 0 : (count - 1) / perDomain - Clusters(); }
};

Units UnitsAlong(const ArrayShape& shape, Level level, bool columns) {
  const auto of = [&](PerAxis axis) { return columns ? axis.columns : axis.rows; };
  Units units;
  units.count = of(UnitsOf(shape, level));
  if (level != Level::CLUSTER && of(shape.clusters) > 1) {
    units.perCluster = units.count / of(shape.clusters);
  }
  if (level == Level::PE && of(shape.domains) > 1) {
    units.perDomain = of(shape.pes);
  } else if (level == Level::PE && units.perCluster != 0) {
    units.perDomain = units.perCluster;
  }
  return units;
}

struct Gaps {
  double domain = 0;
  double cluster = 0;
};

Gaps GapsOf(double cell, double pixel) {
  if (cell < LEAST_GAPPED * pixel) {
    return {};
  }
  return {std::min(DOMAIN_GAP, MOST_DOMAIN_GAP * cell),
          std::min(CLUSTER_GAP, MOST_CLUSTER_GAP * cell)};
}

double LengthOf(const Units& units, double cell, double pixel) {
  const Gaps gaps = GapsOf(cell, pixel);
  return cell * units.count + gaps.domain * units.Domains() + gaps.cluster * units.Clusters();
}

// The largest cell whose units fit a length: by halving, since gaps follow the cell.
double CellFor(const Units& units, double length, double pixel) {
  double low = 0;
  double high = length / units.count;
  for (int i = 0; i < 40; ++i) {
    const double middle = (low + high) / 2;
    (LengthOf(units, middle, pixel) <= length ? low : high) = middle;
  }
  return LengthOf(units, high, pixel) <= length ? high : low;
}

double StartOf(const Units& units, uint32_t unit, double cell, double pixel) {
  const Gaps gaps = GapsOf(cell, pixel);
  const uint32_t clusters = units.perCluster == 0 ? 0 : unit / units.perCluster;
  const uint32_t domains = units.perDomain == 0 ? 0 : unit / units.perDomain - clusters;
  return cell * unit + gaps.domain * domains + gaps.cluster * clusters;
}

}  // namespace

// Where the cells of a map are.
struct HeatPlot::Lines {
  Units columns;
  Units rows;
  double cell;
  double pixel;
  Box box;  // that all of them fill

  double Left(uint32_t column) const { return box.x + StartOf(columns, column, cell, pixel); }
  double Top(uint32_t row) const { return box.Bottom() - StartOf(rows, row, cell, pixel) - cell; }
  Spot Centre(size_t unit) const {
    const uint32_t column = static_cast<uint32_t>(unit % columns.count);
    const uint32_t row = static_cast<uint32_t>(unit / columns.count);
    return {Left(column) + cell / 2, Top(row) + cell / 2};
  }
};

HeatScale ScaleOf(const HeatMap& map) { return ScaleOf(map.values, map.scaleMax); }

Level LevelFor(const ArrayShape& shape, double points, double pixelsPerPoint) {
  for (const Level level : {Level::PE, Level::DOMAIN}) {
    const Units units = UnitsAlong(shape, level, true);
    const Units rows = UnitsAlong(shape, level, false);
    const double cell = std::min(CellFor(units, points, 1 / pixelsPerPoint),
                                 CellFor(rows, points * TALLEST, 1 / pixelsPerPoint));
    if (cell * pixelsPerPoint >= 2) {
      return level;
    }
  }
  return Level::CLUSTER;
}

HeatPlot::HeatPlot(HeatMap heat)
    : map(std::move(heat)),
      scale(ScaleOf(map)),
      bar(map.values, scale, map.unit, LevelName(map.level)) {}

PlotBody::Margins HeatPlot::GetMargins(const PlotStyle& style) const {
  const bool clusters = map.level != Level::CLUSTER && map.shape.Switches() > 1;
  return {(clusters ? 34 : 26) * style.text, style.slide ? 6 : ScaleBar::StandingWidth(style),
          (clusters ? 27 : 19) * style.text};
}

double HeatPlot::HeightFor(double width, const PlotStyle& style) const {
  const double pixel = 1 / style.Scale();
  const Units columns = UnitsAlong(map.shape, map.level, true);
  const Units rows = UnitsAlong(map.shape, map.level, false);
  const double cell =
      std::min(CellFor(columns, width, pixel), CellFor(rows, width * TALLEST, pixel));
  return std::max(LengthOf(rows, cell, pixel), 56 * style.text);
}

std::string HeatPlot::ValueText(double value) const {
  return map.whole ? CountText(static_cast<uint64_t>(value)) : ThreeDigits(value);
}

bool HeatPlot::AllFit(double cell, const PlotStyle& style) const {
  return cell >= LABELLED && std::all_of(map.values.begin(), map.values.end(), [&](double value) {
           return TextWidth(ValueText(value), Weight::BOLD, style.LabelSize()) <= cell - 0.8;
         });
}

void HeatPlot::DrawCells(Canvas& canvas, const Lines& lines, const PlotStyle& style) const {
  for (size_t i = 0; i < map.values.size(); ++i) {
    const Spot centre = lines.Centre(i);
    if (map.values[i] > 0) {
      canvas.Cell({centre.x - lines.cell / 2, centre.y - lines.cell / 2, lines.cell, lines.cell},
                  style.theme->sequence[scale.StepOf(map.values[i])]);
    } else if (lines.cell >= LEAST_DOTTED * lines.pixel) {
      const double dot = std::max(canvas.Pixel(), std::min(0.8, lines.cell * 0.16));
      canvas.Fill({centre.x - dot / 2, centre.y - dot / 2, dot, dot}, style.theme->rule);
    }
  }
}

void HeatPlot::DrawValues(Canvas& canvas, const Lines& lines, const PlotStyle& style) const {
  const double size = style.LabelSize();
  const double largest = *std::max_element(map.values.begin(), map.values.end());
  for (size_t i = 0; i < map.values.size(); ++i) {
    if (map.values[i] > 0) {
      const Spot centre = lines.Centre(i);
      canvas.Text(ValueText(map.values[i]), {centre.x, centre.y + size * 0.36}, Align::CENTRE, size,
                  InkOn(style.theme->sequence[scale.StepOf(map.values[i])]),
                  map.values[i] == largest ? Weight::BOLD : Weight::REGULAR);
    }
  }
}

void HeatPlot::DrawRings(Canvas& canvas, const Lines& lines, const Box& area,
                         const PlotStyle& style) const {
  std::vector<size_t> order(map.values.size());
  std::iota(order.begin(), order.end(), size_t{0});
  const size_t rings = std::min(RINGS, order.size());
  std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(rings), order.end(),
                    [&](size_t a, size_t b) {
                      return map.values[a] != map.values[b] ? map.values[a] > map.values[b] : a < b;
                    });
  const double size = style.LabelSize();
  const double radius = std::max(lines.cell * 0.75, 2.2);
  std::vector<Box> taken;
  for (size_t i = 0; i < rings && map.values[order[i]] > 0; ++i) {
    const Spot centre = lines.Centre(order[i]);
    const std::string text = ValueText(map.values[order[i]]);
    const double width = TextWidth(text, Weight::BOLD, size);
    const bool right = centre.x + radius + 2 + width < area.Right();
    const double x = right ? centre.x + radius + 1.5 : centre.x - radius - 1.5 - width;
    const Box label = {x - 0.8, centre.y - size * 0.6, width + 1.6, size * 1.2};
    const Box ring = {centre.x - radius, centre.y - radius, 2 * radius, 2 * radius};
    const bool overlaps = std::any_of(taken.begin(), taken.end(), [&](const Box& other) {
      const auto meets = [&](const Box& box) {
        return box.x < other.Right() && other.x < box.Right() && box.y < other.Bottom() &&
               other.y < box.Bottom();
      };
      return meets(label) || meets(ring);
    });
    if (overlaps) {
      continue;
    }
    canvas.Ring(centre, radius, {style.theme->paper, 1.8});
    canvas.Ring(centre, radius, {style.theme->ink, 0.7});
    canvas.Fill(label, style.theme->paper);
    canvas.Text(text, {x, centre.y + size * 0.36}, Align::LEFT, size, style.theme->ink,
                Weight::BOLD);
    taken.push_back(label);
    taken.push_back(ring);
  }
}

namespace {

// Every 2^k-th unit, so that numbers are far enough apart.
uint32_t StrideFor(double cell, double apart) {
  uint32_t stride = 1;
  while (cell * stride < apart && stride < 1U << 30) {
    stride *= 2;
  }
  return stride;
}

}  // namespace

void HeatPlot::DrawNumbers(Canvas& canvas, const Lines& lines, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const std::string widest = std::to_string(std::max(lines.columns.count, lines.rows.count) - 1);
  const double apart =
      std::max(APART * style.text, TextWidth(widest, Weight::REGULAR, size) + size * 0.6);
  const uint32_t stride = StrideFor(lines.cell, apart);
  for (uint32_t column = 0; column < lines.columns.count; column += stride) {
    canvas.Text(std::to_string(column),
                {lines.Left(column) + lines.cell / 2, lines.box.Bottom() + size * 1.25},
                Align::CENTRE, size, theme.mute);
  }
  for (uint32_t row = 0; row < lines.rows.count; row += stride) {
    canvas.Text(std::to_string(row),
                {lines.box.x - 2.5, lines.Top(row) + lines.cell / 2 + size * 0.36}, Align::RIGHT,
                size, theme.mute);
  }
  const std::string of =
      map.level == Level::PE ? "" : std::string(" of ") + LevelName(map.level) + "s";
  double below = lines.box.Bottom() + size * 1.9;
  double left = lines.box.x - 4.5 - TextWidth(widest, Weight::REGULAR, size);
  if (lines.columns.perCluster != 0) {
    const Pen bracket = {theme.mute, 0.5};
    const uint32_t clusters = lines.columns.count / lines.columns.perCluster;
    const uint32_t every =
        StrideFor(lines.Left(lines.columns.perCluster) - lines.Left(0), 3.2 * size);
    for (uint32_t c = 0; c < clusters; ++c) {
      const double x1 = lines.Left(c * lines.columns.perCluster);
      const double x2 = lines.Left((c + 1) * lines.columns.perCluster - 1) + lines.cell;
      canvas.Horizontal(x1 + 0.4, x2 - 0.4, below, bracket);
      if (c % every == 0) {
        canvas.Text("c" + std::to_string(c), {(x1 + x2) / 2, below + size * 1.15}, Align::CENTRE,
                    size, theme.mute);
      }
    }
    below += size * 1.3;
  }
  if (lines.rows.perCluster != 0) {
    const Pen bracket = {theme.mute, 0.5};
    const uint32_t clusters = lines.rows.count / lines.rows.perCluster;
    const uint32_t every = StrideFor(lines.Top(0) - lines.Top(lines.rows.perCluster), 1.8 * size);
    for (uint32_t c = 0; c < clusters; ++c) {
      const double y2 = lines.Top(c * lines.rows.perCluster) + lines.cell;
      const double y1 = lines.Top((c + 1) * lines.rows.perCluster - 1);
      canvas.Vertical(left, y1 + 0.4, y2 - 0.4, bracket);
      if (c % every == 0) {
        canvas.Text("c" + std::to_string(c), {left - 1.5, (y1 + y2) / 2 + size * 0.36},
                    Align::RIGHT, size, theme.mute);
      }
    }
    left -= TextWidth("c00", Weight::REGULAR, size) + 1;
  }
  const double middle = lines.box.y + lines.box.height / 2;
  canvas.Text("column" + of, {lines.box.x + lines.box.width / 2, below + style.AxisSize() * 0.95},
              Align::CENTRE, style.AxisSize(), theme.ink);
  canvas.TextUpwards("row" + of, {std::max(left - 1.5, style.AxisSize()), middle}, style.AxisSize(),
                     theme.ink);
}

void HeatPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const double pixel = 1 / style.Scale();
  Lines lines = {UnitsAlong(map.shape, map.level, true),
                 UnitsAlong(map.shape, map.level, false),
                 0,
                 pixel,
                 {}};
  lines.cell =
      std::min(CellFor(lines.columns, area.width, pixel), CellFor(lines.rows, area.height, pixel));
  const double height = LengthOf(lines.rows, lines.cell, pixel);
  // Beside the words of a slide a low map stands in the middle.
  const double below = style.slide ? (area.height - height) / 2 : 0;
  lines.box = {area.x, area.Bottom() - below - height, LengthOf(lines.columns, lines.cell, pixel),
               height};
  canvas.Frame(
      {lines.box.x - 0.6, lines.box.y - 0.6, lines.box.width + 1.2, lines.box.height + 1.2},
      {style.theme->rule, 0.5});
  DrawCells(canvas, lines, style);
  if (AllFit(lines.cell, style)) {
    DrawValues(canvas, lines, style);
  } else {
    DrawRings(canvas, lines, lines.box, style);
  }
  DrawNumbers(canvas, lines, style);
  if (!style.slide) {
    bar.DrawStanding(canvas, {lines.box.x, area.y, lines.box.width, area.height}, style);
  }
}

double HeatPlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  return bar.LyingHeight(style);
}

void HeatPlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  bar.DrawLying(canvas, box, style);
}

}  // namespace marrowfin
