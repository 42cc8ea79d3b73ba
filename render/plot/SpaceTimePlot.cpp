#include "render/plot/SpaceTimePlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

constexpr double LEAST_CELL = 2;             // pixels
constexpr double HIGHEST_ROW = 9;            // points of a row of the map, of text of usual size
constexpr double HEIGHT = 0.62;              // of the width, where there are rows for it
constexpr double BARS = 24;                  // points of the longest bar
constexpr double LEAST_WITH_BARS = 300;      // points of the page
constexpr double LEAST_HATCHED = 2.2 * 2.2;  // square points of cells side by side
constexpr double LEGEND_COLUMN = 11;         // of the letters' size
constexpr double LEGEND_LINE = 1.8;          // from thread to thread, of the size of the text

// The next number of two digits, of which the second is 0 or 5.
double RoundedUp(double value) {
  const double unit = std::pow(10, std::floor(std::log10(value))) / 2;
  return std::ceil(value / unit - 1e-9) * unit;
}

// Every 2^k-th of units that are so far apart.
size_t StrideFor(double unit, double apart) {
  size_t stride = 1;
  while (unit * static_cast<double>(stride) < apart && stride < size_t{1} << 40) {
    stride *= 2;
  }
  return stride;
}

// Shares that stand below each other have equally many digits behind the point.
std::string TenthsText(double share) {
  std::array<char, 16> text;
  snprintf(text.data(), text.size(), "%.1f %%", share * 100);
  return text.data();
}

}  // namespace

std::vector<double> RatesOf(const SpaceTime& map) {
  std::vector<double> rates;
  for (size_t column = 0; column < map.Times().Count(); ++column) {
    for (size_t row = 0; row < map.Rows().Count(); ++row) {
      if (map.At(row, column) > 0) {
        rates.push_back(map.RateAt(row, column));
      }
    }
  }
  return rates;
}

HeatScale SpaceTimeScaleOf(std::span<const double> rates, std::optional<double> end) {
  if (rates.empty() || end) {
    return ScaleOf(rates, end);
  }
  std::vector<double> sorted(rates.begin(), rates.end());
  const size_t rank = (sorted.size() * 995 + 999) / 1000 - 1;
  std::nth_element(sorted.begin(), sorted.begin() + static_cast<std::ptrdiff_t>(rank),
                   sorted.end());
  return ScaleOf(rates, RoundedUp(sorted[rank]));
}

SpaceTimeSize SpaceTimeSizeFor(const PlotStyle& style) {
  // About what margins and words leave of the page.
  const bool bars = style.width >= LEAST_WITH_BARS * style.text;
  const double beside = style.slide ? style.width * 0.58 : (bars ? 140 : 88) * style.text;
  const double width = std::max(20.0, style.width - beside);
  const double height = style.height > 0 ? std::max(20.0, style.height * 0.72) : width * HEIGHT;
  const double cells = style.Scale() / LEAST_CELL;
  return {std::max<size_t>(1, static_cast<size_t>(height * cells)),
          std::max<size_t>(1, static_cast<size_t>(width * cells))};
}

SpaceTimePlot::SpaceTimePlot(std::shared_ptr<const SpaceTime> of, SpaceTimeColours with)
    : shared(std::move(of)),
      map(*shared),
      colours(std::move(with)),
      units(UnitsOf(map.Rows())),
      rates(RatesOf(map)) {
  const std::vector<uint64_t> rows = map.OfRows();
  ofUnits.resize(units.count);
  for (size_t row = 0; row < rows.size() && units.count > 0; ++row) {
    ofUnits[row / units.rows] += rows[row];
  }
  for (size_t slot = 0; slot < colours.threads.size(); ++slot) {
    ofThreads.push_back(map.OfSlot(slot));
    if (ofThreads.back() > 0) {
      told.push_back(slot);
    }
  }
}

std::string SpaceTimePlot::Units::Label(size_t unit) const {
  return places ? std::to_string(unit % together) + ", " + std::to_string(unit / together)
                : std::to_string(unit);
}

// The largest parts of the array of which there are several: clusters, domains, rows of elements.
// Of parts that are smaller than a row of the map, rows of those.
SpaceTimePlot::Units SpaceTimePlot::UnitsOf(const HierarchyRows& rows) {
  const ArrayShape& shape = rows.Shape();
  const auto make = [&](const char* name, size_t elements, size_t together, bool places) {
    Units units;
    if (elements >= rows.Elements() && shape.Elements() > elements) {
      units.name = name;
      units.rows = elements / rows.Elements();
      units.count = shape.Elements() / elements;
      units.together = together;
      units.places = places;
    }
    return units;
  };
  const size_t domain = static_cast<size_t>(shape.pes.columns) * shape.pes.rows;
  const size_t cluster = domain * shape.domains.columns * shape.domains.rows;
  for (const Units& units : {make("cluster (column, row)", cluster, shape.clusters.columns, true),
                             make("row of clusters", cluster * shape.clusters.columns, 1, false),
                             make("domain (column, row)", domain, shape.domains.columns, true),
                             make("row of domains", domain * shape.domains.columns, 1, false),
                             make("row", shape.pes.columns, 1, false)}) {
    if (units.count > 1) {
      return units;
    }
  }
  return {};
}

bool SpaceTimePlot::HasBars(const PlotStyle& style) const {
  return !style.slide && units.count > 1 && map.Total() > 0 &&
         style.width >= LEAST_WITH_BARS * style.text;
}

double SpaceTimePlot::BarsWidth(const PlotStyle& style) const {
  return HasBars(style)
             ? BARS * style.text + 10 + TextWidth("99.9 %", Weight::REGULAR, style.LabelSize())
             : 0;
}

double SpaceTimePlot::LegendWidth(const PlotStyle& style) const {
  if (style.slide) {
    return 8;
  }
  if (colours.threads.empty()) {
    return ScaleBar::WidthAtEdge(style);
  }
  double widest = TextWidth("thread, share", Weight::REGULAR, style.LabelSize());
  for (const std::string& name : colours.threads) {
    widest = std::max(widest, style.LabelSize() * 1.8 +
                                  TextWidth(name, Weight::BOLD, style.LabelSize()) +
                                  TextWidth("99.9 %", Weight::REGULAR, style.LabelSize()));
  }
  return widest + 12;
}

PlotBody::Margins SpaceTimePlot::GetMargins(const PlotStyle& style) const {
  double left = 8;
  if (units.count > 1) {
    left = style.AxisSize() * 1.9 + 4 +
           TextWidth(units.Label(units.count - 1), Weight::REGULAR, style.LabelSize()) + 10;
  }
  return {left, BarsWidth(style) + LegendWidth(style),
          5 + style.LabelSize() * 1.2 + style.AxisSize() * 1.8};
}

double SpaceTimePlot::HeightFor(double width, const PlotStyle& style) const {
  const double rows = static_cast<double>(map.Rows().Count()) * HIGHEST_ROW * style.text;
  return std::max(std::min(width * HEIGHT, rows), 70 * style.text);
}

// The thread that has most of a cell; of several, the first.
size_t SpaceTimePlot::MostAt(size_t row, size_t column) const {
  size_t most = 0;
  for (size_t slot = 1; slot < colours.threads.size(); ++slot) {
    most = map.At(row, column, slot) > map.At(row, column, most) ? slot : most;
  }
  return most;
}

Color SpaceTimePlot::ColourAt(size_t row, size_t column, const Theme& theme) const {
  const uint64_t count = map.At(row, column);
  if (count == 0) {
    return theme.paper;
  }
  if (colours.threads.empty()) {
    return theme.sequence[colours.scale.StepOf(map.RateAt(row, column))];
  }
  const size_t most = MostAt(row, column);
  const double share = static_cast<double>(map.At(row, column, most)) / static_cast<double>(count);
  return Mixed(theme.paper, theme.categories[most], share);
}

void SpaceTimePlot::DrawCells(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const size_t rows = map.Rows().Count();
  const size_t columns = map.Times().Count();
  std::vector<Color> cells(rows * columns);
  for (size_t row = 0; row < rows; ++row) {
    for (size_t column = 0; column < columns; ++column) {
      // Row 0 is the lowest.
      cells[(rows - 1 - row) * columns + column] = ColourAt(row, column, *style.theme);
    }
  }
  const CycleScale x = {map.Times().first, map.Times().last, area.x, area.Right()};
  // The last column may be cut short: the picture ends with the cycles, and so does that.
  const size_t whole =
      map.Times().WidthOf(columns - 1) == map.Times().width ? columns : columns - 1;
  const double edge = whole == columns ? area.Right() : x.At(map.Times().FirstOf(whole));
  if (whole > 0) {
    std::vector<Color> full;
    for (size_t row = 0; row < rows; ++row) {
      const auto from = cells.begin() + static_cast<std::ptrdiff_t>(row * columns);
      full.insert(full.end(), from, from + static_cast<std::ptrdiff_t>(whole));
    }
    canvas.Cells({area.x, area.y, edge - area.x, area.height}, whole, rows, full);
  }
  if (whole < columns) {
    std::vector<Color> last;
    for (size_t row = 0; row < rows; ++row) {
      last.push_back(cells[row * columns + whole]);
    }
    canvas.Cells({edge, area.y, area.Right() - edge, area.height}, 1, rows, last);
  }
}

// Cells of threads whose colours are not told apart by themselves. Where hatching is too fine for a
// cell it goes on in the next one.
void SpaceTimePlot::DrawHatching(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const CycleScale x = {map.Times().first, map.Times().last, area.x, area.Right()};
  const size_t rows = map.Rows().Count();
  const size_t columns = map.Times().Count();
  const double height = area.height / static_cast<double>(rows);
  const auto isHatched = [&](size_t row, size_t column) {
    return map.At(row, column) > 0 && MostAt(row, column) >= Theme::PLAIN_CATEGORIES;
  };
  std::vector<Box> boxes;
  for (size_t row = 0; row < rows; ++row) {
    for (size_t column = 0; column < columns; ++column) {
      const size_t first = column;
      while (column < columns && isHatched(row, column)) {
        ++column;
      }
      if (column > first) {
        const double left = x.At(map.Times().FirstOf(first));
        const double right = column < columns ? x.At(map.Times().FirstOf(column)) : area.Right();
        // Of less, the lines would leave hardly anything.
        if ((right - left) * height >= LEAST_HATCHED) {
          boxes.push_back(
              {left, area.Bottom() - height * static_cast<double>(row + 1), right - left, height});
        }
      }
    }
  }
  canvas.Hatch(boxes, style.theme->paper);
}

// Numbers of units left of the map, a tick between them, and a rule between those that stand
// together.
void SpaceTimePlot::DrawUnits(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  canvas.Horizontal(area.x, area.Right(), area.y, {theme.mute, 0.5});
  if (units.count < 2) {
    return;
  }
  const double height = area.height / static_cast<double>(units.count);
  const double left = area.x - 4 - 10;
  const size_t every = StrideFor(height, size * 1.25);
  const size_t ticks = StrideFor(height, 3);
  for (size_t unit = 0; unit < units.count; ++unit) {
    const double below = area.Bottom() - height * static_cast<double>(unit);
    const bool isRule = unit > 0 && units.together > 1 && unit % units.together == 0 &&
                        height * static_cast<double>(units.together) >= 4;
    if (isRule) {
      canvas.Horizontal(area.x - 14, area.Right(), below, {theme.mute, 0.5});
    } else if (unit > 0 && unit % ticks == 0) {
      canvas.Horizontal(area.x - 4, area.x, below, {theme.mute, 0.35});
    }
    if (unit % every == 0) {
      // Above the rule also where a unit is lower than its label.
      const double middle = below - std::max(height / 2, size * 0.7);
      canvas.Text(units.Label(unit), {area.x - 5, middle + size * 0.36}, Align::RIGHT, size,
                  theme.mute);
    }
  }
  const double widest = TextWidth(units.Label(units.count - 1), Weight::REGULAR, size);
  canvas.TextUpwards(units.name,
                     {std::max(style.AxisSize(), left + 4 - widest - style.AxisSize() * 0.6),
                      area.y + area.height / 2},
                     style.AxisSize(), theme.ink);
}

void SpaceTimePlot::DrawBars(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const double left = area.Right() + 6;
  const double height = area.height / static_cast<double>(units.count);
  const size_t largest =
      static_cast<size_t>(std::max_element(ofUnits.begin(), ofUnits.end()) - ofUnits.begin());
  const double total = static_cast<double>(map.Total());
  const bool all = height >= size * 1.15;
  for (size_t unit = 0; unit < units.count; ++unit) {
    if (ofUnits[unit] == 0) {
      continue;
    }
    const double share = static_cast<double>(ofUnits[unit]) / total;
    const double length = BARS * style.text * static_cast<double>(ofUnits[unit]) /
                          static_cast<double>(ofUnits[largest]);
    const double middle = area.Bottom() - height * (static_cast<double>(unit) + 0.5);
    const double thick = std::min(height * 0.7, size * 1.3);
    canvas.Fill({left, middle - thick / 2, std::max(length, canvas.Pixel()),
                 std::max(thick, canvas.Pixel())},
                Mixed(theme.rule, theme.mute, 1.0 / 3));
    if (all || unit == largest) {
      canvas.Text(TenthsText(share), {left + length + 2.5, middle + size * 0.36}, Align::LEFT, size,
                  unit == largest ? theme.ink : theme.mute);
    }
  }
  canvas.Text("share of " + std::string(EventsName(map.Events())), {left, area.y - 3}, Align::LEFT,
              size, theme.mute);
}

void SpaceTimePlot::DrawThreads(Canvas& canvas, Spot bottom, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const double total = static_cast<double>(std::max<uint64_t>(1, map.Total()));
  const size_t lines = LinesOfLegend(style);
  const double first = bottom.y - size * 0.2;
  for (size_t i = 0; i < told.size(); ++i) {
    const size_t slot = told[i];
    const double x = bottom.x + size * LEGEND_COLUMN * static_cast<double>(i / lines);
    const double y = first - size * LEGEND_LINE * static_cast<double>(i % lines);
    const Box box = {x, y - size * 0.85, size, size};
    canvas.Fill(box, theme.categories[slot]);
    if (slot >= Theme::PLAIN_CATEGORIES) {
      canvas.Hatch(box, theme.paper);
    }
    canvas.Text(colours.threads[slot], {x + size * 1.4, y}, Align::LEFT, size, theme.ink,
                Weight::BOLD);
    const double name = TextWidth(colours.threads[slot], Weight::BOLD, size);
    canvas.Text(PercentText(static_cast<double>(ofThreads[slot]) / total),
                {x + size * 1.8 + name, y}, Align::LEFT, size, theme.mute);
  }
  canvas.Text(
      "thread, share",
      {bottom.x, first - size * LEGEND_LINE * static_cast<double>(std::min(lines, told.size()))},
      Align::LEFT, size, theme.mute);
}

ScaleBar SpaceTimePlot::Bar() const { return {rates, colours.scale, colours.unit, "cell"}; }

double SpaceTimePlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  return colours.threads.empty()
             ? Bar().LyingHeight(style)
             : style.LabelSize() * LEGEND_LINE * static_cast<double>(LinesOfLegend(style) + 1);
}

size_t SpaceTimePlot::LinesOfLegend(const PlotStyle& style) const {
  const size_t columns = style.ColumnsFor(told.size());
  return std::max<size_t>(1, (told.size() + columns - 1) / columns);
}

void SpaceTimePlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  if (colours.threads.empty()) {
    Bar().DrawLying(canvas, box, style);
  } else {
    DrawThreads(canvas, {box.x, box.Bottom()}, style);
  }
}

double SpaceTimePlot::LeastHeight(double /*width*/, const PlotStyle& style) const {
  return TextWidth("cluster (column, row)", Weight::REGULAR, style.AxisSize());
}

void SpaceTimePlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  Box plot = area;
  if (HasBars(style)) {
    // For what is said above the bars.
    plot.y += style.LabelSize() * 0.6;
    plot.height -= style.LabelSize() * 0.6;
  }
  DrawCells(canvas, plot, style);
  if (colours.threads.size() > Theme::PLAIN_CATEGORIES) {
    DrawHatching(canvas, plot, style);
  }
  DrawUnits(canvas, plot, style);
  const CycleScale x = {map.Times().first, map.Times().last, plot.x, plot.Right()};
  DrawHorizontalAxis(canvas, plot, x.SinceFirst(),
                     CycleTicks(map.Times().first, map.Times().last, plot.width, style), "cycle",
                     style);
  if (HasBars(style)) {
    DrawBars(canvas, plot, style);
  }
  if (style.slide) {
    return;
  }
  Box beside = plot;
  beside.width += BarsWidth(style);
  if (colours.threads.empty()) {
    Bar().DrawStanding(canvas, beside, style);
  } else {
    DrawThreads(canvas, {beside.Right() + 8, beside.Bottom()}, style);
  }
}

}  // namespace marrowfin
