#include "render/plot/CompassPlot.h"

#include <algorithm>
#include <utility>

namespace marrowfin {
namespace {

constexpr double LEAST_DOTTED = 4;  // pixels of a cell from which one without load has a dot
constexpr double BETWEEN = 13;      // points between maps
constexpr Heading ORDER[] = {Heading::UP, Heading::LEFT, Heading::RIGHT, Heading::DOWN};

const char* NameOf(Heading heading) {
  switch (heading) {
    case Heading::RIGHT:
      return "right (column + 1)";
    case Heading::LEFT:
      return "left (column − 1)";
    case Heading::UP:
      return "up (row + 1)";
    case Heading::DOWN:
      break;
  }
  return "down (row − 1)";
}

// Wide pages have all maps side by side, others two and two.
uint32_t MapsAcross(double width) { return width > 300 ? 4 : 2; }

double MapWidth(double width, double text) {
  const uint32_t across = MapsAcross(width);
  return (width - (across - 1) * BETWEEN * text) / across;
}

// Of the name above a map, and of the numbers below it.
double Above(const PlotStyle& style) { return style.LabelSize() * 1.7; }
double Below(const PlotStyle& style) { return style.LabelSize() * 1.8; }

uint32_t CellsOf(uint32_t nodes, uint32_t group) { return (nodes + group - 1) / group; }

}  // namespace

CompassPlot::CompassPlot(LinkMap links, PerAxis nodesOfCell)
    : map(std::move(links)),
      group(nodesOfCell),
      cells({CellsOf(map.mesh.nodes.columns, group.columns),
             CellsOf(map.mesh.nodes.rows, group.rows)}),
      scale(ScaleOf(map)),
      bar(BarOf(map, scale)) {
  for (std::vector<double>& values : busiest) {
    values.resize(static_cast<size_t>(cells.columns) * cells.rows);
  }
  for (const LoadOfLink& link : LoadsOf(map)) {
    double& cell = busiest[static_cast<size_t>(link.heading)]
                          [static_cast<size_t>(link.node.row / group.rows) * cells.columns +
                           link.node.column / group.columns];
    cell = std::max(cell, link.load);
  }
}

PerAxis CompassPlot::GroupFor(const Mesh& mesh, const std::vector<PerAxis>& groups,
                              const PlotStyle& style) {
  const double width = MapWidth(style.PlotWidth(), style.text) * style.Scale();
  for (const PerAxis& group : groups) {
    if (width >= 2 * CellsOf(mesh.nodes.columns, group.columns) &&
        width >= 2 * CellsOf(mesh.nodes.rows, group.rows)) {
      return group;
    }
  }
  return groups.back();
}

PlotBody::Margins CompassPlot::GetMargins(const PlotStyle& style) const {
  return {12 * style.text, style.slide ? 6 : ScaleBar::StandingWidth(style), 3};
}

double CompassPlot::HeightFor(double width, const PlotStyle& style) const {
  const uint32_t rows = 4 / MapsAcross(width);
  const double side = MapWidth(width, style.text);
  const double height = std::min(side * map.mesh.nodes.rows / map.mesh.nodes.columns, side * 1.3);
  return rows * (Above(style) + height + Below(style));
}

void CompassPlot::DrawMap(Canvas& canvas, const Box& box, Heading heading,
                          const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const std::vector<double>& values = busiest[static_cast<size_t>(heading)];
  const double cell = std::min(box.width / cells.columns, box.height / cells.rows);
  const Box plot = {box.x, box.Bottom() - cell * cells.rows, cell * cells.columns,
                    cell * cells.rows};
  canvas.Text(NameOf(heading), {plot.x, plot.y - size * 0.6}, Align::LEFT, size, theme.ink,
              Weight::BOLD);
  const auto corner = [&](size_t i) {
    return Spot{plot.x + cell * static_cast<double>(i % cells.columns),
                plot.Bottom() - cell * static_cast<double>(i / cells.columns + 1)};
  };
  for (size_t i = 0; i < values.size(); ++i) {
    if (values[i] > 0) {
      canvas.Cell({corner(i).x, corner(i).y, cell, cell}, theme.sequence[scale.StepOf(values[i])]);
    } else if (cell >= LEAST_DOTTED * canvas.Pixel()) {
      const double dot = std::max(canvas.Pixel(), std::min(0.8, cell * 0.16));
      canvas.Fill({corner(i).x + (cell - dot) / 2, corner(i).y + (cell - dot) / 2, dot, dot},
                  theme.rule);
    }
  }
  canvas.Frame(plot, {theme.rule, 0.4});
  canvas.Text("0", {plot.x, plot.Bottom() + size * 1.3}, Align::LEFT, size, theme.mute);
  if (plot.height >= size * 2) {
    canvas.Text("row " + std::to_string(map.mesh.nodes.rows - 1),
                {plot.Right(), plot.y - size * 0.6}, Align::RIGHT, size, theme.mute);
  }
  canvas.Text("column " + std::to_string(map.mesh.nodes.columns - 1),
              {plot.Right(), plot.Bottom() + size * 1.3}, Align::RIGHT, size, theme.mute);
  const size_t hottest =
      static_cast<size_t>(std::max_element(values.begin(), values.end()) - values.begin());
  if (!(values[hottest] > 0)) {
    return;
  }
  const Spot centre = {corner(hottest).x + cell / 2, corner(hottest).y + cell / 2};
  const double radius = std::max(cell * 0.9, 2.6);
  const std::string text = AlikeText(values[hottest], scale.end);
  const bool right = centre.x + radius + 2 + TextWidth(text, Weight::BOLD, size) < plot.Right();
  canvas.Ring(centre, radius, {theme.paper, 1.8});
  canvas.Ring(centre, radius, {theme.ink, 0.7});
  canvas.TextOn(theme.paper, text,
                {centre.x + (right ? radius + 1.5 : -radius - 1.5), centre.y + size * 0.36},
                right ? Align::LEFT : Align::RIGHT, size, theme.ink, Weight::BOLD);
}

void CompassPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const uint32_t across = MapsAcross(area.width);
  const uint32_t rows = 4 / across;
  const double width = MapWidth(area.width, style.text);
  const double height = area.height / rows - Above(style) - Below(style);
  for (uint32_t i = 0; i < 4 && height > 1; ++i) {
    const Box box = {area.x + (i % across) * (width + BETWEEN * style.text),
                     area.y + (i / across) * (area.height / rows) + Above(style), width, height};
    DrawMap(canvas, box, ORDER[i], style);
  }
  if (!style.slide) {
    bar.DrawStanding(canvas, {area.x, area.y, area.width, area.height - Below(style)}, style);
  }
}

double CompassPlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  return bar.LyingHeight(style);
}

void CompassPlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  bar.DrawLying(canvas, box, style);
}

}  // namespace marrowfin
