#include "render/plot/ArrayGrid.h"

#include <algorithm>

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
constexpr double TALLEST = 1.3;  // height of a map, of its width

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

// Every 2^k-th unit, so that numbers are far enough apart.
uint32_t StrideFor(double cell, double apart) {
  uint32_t stride = 1;
  while (cell * stride < apart && stride < 1U << 30) {
    stride *= 2;
  }
  return stride;
}

bool Overlap(const Box& one, const Box& other) {
  return one.x < other.Right() && other.x < one.Right() && one.y < other.Bottom() &&
         other.y < one.Bottom();
}

}  // namespace

ArrayGrid::Axis ArrayGrid::AxisOf(const ArrayShape& shape, Level level, bool ofColumns) {
  const auto of = [&](PerAxis axis) { return ofColumns ? axis.columns : axis.rows; };
  Axis units;
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

double ArrayGrid::LengthOf(const Axis& units, double cell, double pixel) {
  const Gaps gaps = GapsOf(cell, pixel);
  return cell * units.count + gaps.domain * units.Domains() + gaps.cluster * units.Clusters();
}

// The largest cell whose units fit a length: by halving, since gaps follow the cell.
double ArrayGrid::CellFor(const Axis& units, double length, double pixel) {
  double low = 0;
  double high = length / units.count;
  for (int i = 0; i < 40; ++i) {
    const double middle = (low + high) / 2;
    (LengthOf(units, middle, pixel) <= length ? low : high) = middle;
  }
  return LengthOf(units, high, pixel) <= length ? high : low;
}

double ArrayGrid::StartOf(const Axis& units, uint32_t unit, double cell, double pixel) {
  const Gaps gaps = GapsOf(cell, pixel);
  const uint32_t clusters = units.perCluster == 0 ? 0 : unit / units.perCluster;
  const uint32_t domains = units.perDomain == 0 ? 0 : unit / units.perDomain - clusters;
  return cell * unit + gaps.domain * domains + gaps.cluster * clusters;
}

Level LevelFor(const ArrayShape& shape, double points, double pixelsPerPoint) {
  for (const Level level : {Level::PE, Level::DOMAIN}) {
    const ArrayGrid::Axis columns = ArrayGrid::AxisOf(shape, level, true);
    const ArrayGrid::Axis rows = ArrayGrid::AxisOf(shape, level, false);
    const double cell = std::min(ArrayGrid::CellFor(columns, points, 1 / pixelsPerPoint),
                                 ArrayGrid::CellFor(rows, points * TALLEST, 1 / pixelsPerPoint));
    if (cell * pixelsPerPoint >= 2) {
      return level;
    }
  }
  return Level::CLUSTER;
}

PlotBody::Margins ArrayGrid::MarginsFor(const ArrayShape& shape, Level level,
                                        const PlotStyle& style) {
  const bool clusters = level != Level::CLUSTER && shape.Switches() > 1;
  return {(clusters ? 34 : 26) * style.text, 6, (clusters ? 27 : 19) * style.text};
}

double ArrayGrid::HeightFor(const ArrayShape& shape, Level level, double width,
                            const PlotStyle& style) {
  const double pixel = 1 / style.Scale();
  const Axis columns = AxisOf(shape, level, true);
  const Axis rows = AxisOf(shape, level, false);
  const double cell =
      std::min(CellFor(columns, width, pixel), CellFor(rows, width * TALLEST, pixel));
  return LengthOf(rows, cell, pixel);
}

ArrayGrid::ArrayGrid(const ArrayShape& shape, Level level, const Box& area, const PlotStyle& style)
    : level(level),
      pixel(1 / style.Scale()),
      columns(AxisOf(shape, level, true)),
      rows(AxisOf(shape, level, false)),
      cell(std::min(CellFor(columns, area.width, pixel), CellFor(rows, area.height, pixel))) {
  const double height = LengthOf(rows, cell, pixel);
  const double below = style.slide ? (area.height - height) / 2 : 0;
  bounds = {area.x, area.Bottom() - below - height, LengthOf(columns, cell, pixel), height};
}

double ArrayGrid::Left(uint32_t column) const {
  return bounds.x + StartOf(columns, column, cell, pixel);
}

double ArrayGrid::Top(uint32_t row) const {
  return bounds.Bottom() - StartOf(rows, row, cell, pixel) - cell;
}

Spot ArrayGrid::CentreOf(size_t unit) const {
  return {Left(static_cast<uint32_t>(unit % columns.count)) + cell / 2,
          Top(static_cast<uint32_t>(unit / columns.count)) + cell / 2};
}

Box ArrayGrid::CellOf(size_t unit) const {
  const Spot centre = CentreOf(unit);
  return {centre.x - cell / 2, centre.y - cell / 2, cell, cell};
}

bool ArrayGrid::ShowsDots() const { return cell >= LEAST_DOTTED * pixel; }

bool ArrayGrid::ShowsTexts() const { return cell >= LABELLED; }

bool ArrayGrid::Fits(const std::string& text, const PlotStyle& style) const {
  return TextWidth(text, Weight::BOLD, style.LabelSize()) <= cell - 0.8;
}

void ArrayGrid::DrawFrame(Canvas& canvas, const PlotStyle& style) const {
  canvas.Frame({bounds.x - 0.6, bounds.y - 0.6, bounds.width + 1.2, bounds.height + 1.2},
               {style.theme->rule, 0.5});
}

void ArrayGrid::DrawDot(Canvas& canvas, size_t unit, const PlotStyle& style) const {
  const Spot centre = CentreOf(unit);
  const double dot = std::max(canvas.Pixel(), std::min(0.8, cell * 0.16));
  canvas.Fill({centre.x - dot / 2, centre.y - dot / 2, dot, dot}, style.theme->rule);
}

void ArrayGrid::DrawText(Canvas& canvas, size_t unit, const std::string& text, Color background,
                         bool bold, const PlotStyle& style) const {
  const Spot centre = CentreOf(unit);
  const double size = style.LabelSize();
  canvas.Text(text, {centre.x, centre.y + size * 0.36}, Align::CENTRE, size, InkOn(background),
              bold ? Weight::BOLD : Weight::REGULAR);
}

void ArrayGrid::DrawRings(Canvas& canvas, const std::vector<Ringed>& ringed,
                          const PlotStyle& style) const {
  const double size = style.LabelSize();
  const double radius = std::max(cell * 0.75, 2.2);
  std::vector<Box> taken;
  for (const Ringed& one : ringed) {
    const Spot centre = CentreOf(one.unit);
    const double width = TextWidth(one.text, Weight::BOLD, size);
    const bool right = centre.x + radius + 2 + width < bounds.Right();
    const double x = right ? centre.x + radius + 1.5 : centre.x - radius - 1.5 - width;
    const Box label = {x - 0.8, centre.y - size * 0.6, width + 1.6, size * 1.2};
    const Box ring = {centre.x - radius, centre.y - radius, 2 * radius, 2 * radius};
    if (std::any_of(taken.begin(), taken.end(), [&](const Box& other) {
          return Overlap(label, other) || Overlap(ring, other);
        })) {
      continue;
    }
    canvas.Ring(centre, radius, {style.theme->paper, 1.8});
    canvas.Ring(centre, radius, {style.theme->ink, 0.7});
    canvas.Fill(label, style.theme->paper);
    canvas.Text(one.text, {x, centre.y + size * 0.36}, Align::LEFT, size, style.theme->ink,
                Weight::BOLD);
    taken.push_back(label);
    taken.push_back(ring);
  }
}

// Returns where what stands below them begins.
double ArrayGrid::DrawColumnBrackets(Canvas& canvas, double below, const PlotStyle& style) const {
  if (columns.perCluster == 0) {
    return below;
  }
  const double size = style.LabelSize();
  const Pen bracket = {style.theme->mute, 0.5};
  const uint32_t every = StrideFor(Left(columns.perCluster) - Left(0), 3.2 * size);
  for (uint32_t c = 0; c < columns.count / columns.perCluster; ++c) {
    const double x1 = Left(c * columns.perCluster);
    const double x2 = Left((c + 1) * columns.perCluster - 1) + cell;
    canvas.Horizontal(x1 + 0.4, x2 - 0.4, below, bracket);
    if (c % every == 0) {
      canvas.Text("c" + std::to_string(c), {(x1 + x2) / 2, below + size * 1.15}, Align::CENTRE,
                  size, style.theme->mute);
    }
  }
  return below + size * 1.3;
}

// Returns where what stands left of them ends.
double ArrayGrid::DrawRowBrackets(Canvas& canvas, double left, const PlotStyle& style) const {
  if (rows.perCluster == 0) {
    return left;
  }
  const double size = style.LabelSize();
  const Pen bracket = {style.theme->mute, 0.5};
  const uint32_t every = StrideFor(Top(0) - Top(rows.perCluster), 1.8 * size);
  for (uint32_t c = 0; c < rows.count / rows.perCluster; ++c) {
    const double y2 = Top(c * rows.perCluster) + cell;
    const double y1 = Top((c + 1) * rows.perCluster - 1);
    canvas.Vertical(left, y1 + 0.4, y2 - 0.4, bracket);
    if (c % every == 0) {
      canvas.Text("c" + std::to_string(c), {left - 1.5, (y1 + y2) / 2 + size * 0.36}, Align::RIGHT,
                  size, style.theme->mute);
    }
  }
  return left - TextWidth("c00", Weight::REGULAR, size) - 1;
}

void ArrayGrid::DrawNumbers(Canvas& canvas, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const std::string widest = std::to_string(std::max(columns.count, rows.count) - 1);
  const double apart =
      std::max(APART * style.text, TextWidth(widest, Weight::REGULAR, size) + size * 0.6);
  const uint32_t stride = StrideFor(cell, apart);
  for (uint32_t column = 0; column < columns.count; column += stride) {
    canvas.Text(std::to_string(column), {Left(column) + cell / 2, bounds.Bottom() + size * 1.25},
                Align::CENTRE, size, theme.mute);
  }
  for (uint32_t row = 0; row < rows.count; row += stride) {
    canvas.Text(std::to_string(row), {bounds.x - 2.5, Top(row) + cell / 2 + size * 0.36},
                Align::RIGHT, size, theme.mute);
  }
  const std::string of = level == Level::PE ? "" : std::string(" of ") + LevelName(level) + "s";
  const double below = DrawColumnBrackets(canvas, bounds.Bottom() + size * 1.9, style);
  const double left =
      DrawRowBrackets(canvas, bounds.x - 4.5 - TextWidth(widest, Weight::REGULAR, size), style);
  canvas.Text("column" + of, {bounds.x + bounds.width / 2, below + style.AxisSize() * 0.95},
              Align::CENTRE, style.AxisSize(), theme.ink);
  canvas.TextUpwards("row" + of,
                     {std::max(left - 1.5, style.AxisSize()), bounds.y + bounds.height / 2},
                     style.AxisSize(), theme.ink);
}

}  // namespace marrowfin
