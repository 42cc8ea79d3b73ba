#include "render/plot/LinkPlot.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

// All in distances from node to node.
constexpr double NODE = 0.34;        // side of a node
constexpr double LANE = 0.105;       // from the middle of a pair of lanes to that of one
constexpr double NARROWEST = 0.045;  // a lane that carries next to nothing
constexpr double WIDEST = 0.19;
constexpr double TIP = 0.14;     // where a lane narrows
constexpr double AROUND = 0.36;  // of a link around the edge, that is seen of it

constexpr size_t NUMBERED = 4;
constexpr double APART = 9;      // points between numbers of an axis
constexpr double TALLEST = 1.3;  // height of a plot, of its width

constexpr Heading ALL_HEADINGS[] = {Heading::RIGHT, Heading::LEFT, Heading::UP, Heading::DOWN};

// One step that way on the page, whose y grows downwards.
Spot StepOf(Heading heading) {
  switch (heading) {
    case Heading::RIGHT:
      return {1, 0};
    case Heading::LEFT:
      return {-1, 0};
    case Heading::UP:
      return {0, -1};
    case Heading::DOWN:
      break;
  }
  return {0, 1};
}

// What is on the right of someone who goes that way.
Spot RightOf(Spot step) { return {-step.y, step.x}; }

Spot Along(Spot from, Spot step, double length) {
  return {from.x + step.x * length, from.y + step.y * length};
}

std::vector<double> ValuesOf(const LinkMap& map) {
  std::vector<double> values;
  for (const LoadOfLink& link : LoadsOf(map)) {
    values.push_back(link.load);
  }
  return values;
}

// Whether a link leads around the edge of the mesh.
bool LeadsAround(const Mesh& mesh, Place node, Heading heading) {
  return (heading == Heading::RIGHT && node.column + 1 == mesh.nodes.columns) ||
         (heading == Heading::LEFT && node.column == 0) ||
         (heading == Heading::UP && node.row + 1 == mesh.nodes.rows) ||
         (heading == Heading::DOWN && node.row == 0);
}

Place TargetOf(const Mesh& mesh, Place node, Heading heading) {
  const PerAxis n = mesh.nodes;
  switch (heading) {
    case Heading::RIGHT:
      return {(node.column + 1) % n.columns, node.row};
    case Heading::LEFT:
      return {(node.column + n.columns - 1) % n.columns, node.row};
    case Heading::UP:
      return {node.column, (node.row + 1) % n.rows};
    case Heading::DOWN:
      break;
  }
  return {node.column, (node.row + n.rows - 1) % n.rows};
}

bool Meet(const Box& a, const Box& b) {
  return a.x < b.Right() && b.x < a.Right() && a.y < b.Bottom() && b.y < a.Bottom();
}

}  // namespace

std::vector<LoadOfLink> LoadsOf(const LinkMap& map) {
  std::vector<LoadOfLink> links;
  for (uint32_t row = 0; row < map.mesh.nodes.rows; ++row) {
    for (uint32_t column = 0; column < map.mesh.nodes.columns; ++column) {
      for (const Heading heading : ALL_HEADINGS) {
        if (map.mesh.HasLink({column, row}, heading)) {
          links.push_back({{column, row}, heading, map.Of({column, row}, heading)});
        }
      }
    }
  }
  return links;
}

std::vector<LoadOfLink> HottestOf(const LinkMap& map, size_t most) {
  std::vector<LoadOfLink> links = LoadsOf(map);
  std::erase_if(links, [](const LoadOfLink& link) { return !(link.load > 0); });
  std::stable_sort(links.begin(), links.end(),
                   [](const LoadOfLink& a, const LoadOfLink& b) { return a.load > b.load; });
  links.resize(std::min(most, links.size()));
  return links;
}

HeatScale ScaleOf(const LinkMap& map) { return ScaleOf(ValuesOf(map), map.scaleMax); }

ScaleBar BarOf(const LinkMap& map, const HeatScale& scale) {
  return {ValuesOf(map), scale, map.unit, "link"};
}

std::string AlikeText(double value, double largest, int digits) {
  const int magnitude = largest > 0 ? static_cast<int>(std::floor(std::log10(largest))) : 0;
  char text[400];
  return {text, std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed,
                              std::max(0, digits - 1 - magnitude))
                    .ptr};
}

// Where nodes are on the page.
struct LinkPlot::Lines {
  double pitch = 0;
  Spot first;    // the middle of node (0, 0)
  Box box = {};  // of all nodes and links

  Spot Node(Place place) const {
    return {first.x + pitch * place.column, first.y - pitch * place.row};
  }
};

LinkPlot::LinkPlot(LinkMap links)
    : map(std::move(links)), scale(ScaleOf(map)), bar(BarOf(map, scale)) {}

PlotBody::Margins LinkPlot::GetMargins(const PlotStyle& style) const {
  return {26 * style.text, style.slide ? 6 : ScaleBar::StandingWidth(style), 19 * style.text};
}

namespace {

// How many distances from node to node all of them take along an axis.
double PitchesOf(uint32_t nodes, bool wraps) {
  return nodes - 1 + NODE + (wraps && nodes > 1 ? 2 * AROUND : 0);
}

}  // namespace

LinkPlot::Lines LinkPlot::LinesIn(const Box& area) const {
  const Mesh& mesh = map.mesh;
  const double across = PitchesOf(mesh.nodes.columns, mesh.wrapColumns);
  const double down = PitchesOf(mesh.nodes.rows, mesh.wrapRows);
  Lines lines;
  // A single node is not to be the whole plot.
  lines.pitch = std::min({area.width / across, area.height / down, area.width / 1.6});
  const double width = lines.pitch * across;
  const double height = lines.pitch * down;
  const double bottom = area.Bottom() - std::max(0.0, area.height - height) / 2;
  lines.box = {area.x + std::max(0.0, area.width - width) / 2, bottom - height, width, height};
  const double left = NODE / 2 + (mesh.wrapColumns && mesh.nodes.columns > 1 ? AROUND : 0);
  const double below = NODE / 2 + (mesh.wrapRows && mesh.nodes.rows > 1 ? AROUND : 0);
  lines.first = {lines.box.x + left * lines.pitch, bottom - below * lines.pitch};
  return lines;
}

double LinkPlot::HeightFor(double width, const PlotStyle& style) const {
  const double across = PitchesOf(map.mesh.nodes.columns, map.mesh.wrapColumns);
  const double down = PitchesOf(map.mesh.nodes.rows, map.mesh.wrapRows);
  const double pitch = std::min(width / across, width / 1.6);
  return std::max(std::min(pitch * down, width * TALLEST), 62 * style.text);
}

void LinkPlot::DrawLane(Canvas& canvas, Spot from, Spot to, double widest, double load,
                        const PlotStyle& style) const {
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  const Spot step = {(to.x - from.x) / length, (to.y - from.y) / length};
  const Spot side = RightOf(step);
  const double share = std::min(1.0, load / scale.end);
  const double half = widest * (NARROWEST + (WIDEST - NARROWEST) * share) / 2;
  const Spot neck = Along(to, step, -std::min(widest * TIP, length / 2));
  const std::vector<Spot> corners = {Along(from, side, -half),     Along(neck, side, -half),
                                     Along(to, side, -half * 0.4), Along(to, side, half * 0.4),
                                     Along(neck, side, half),      Along(from, side, half)};
  const Theme& theme = *style.theme;
  if (load > 0) {
    canvas.Polygon(corners, theme.sequence[scale.StepOf(load)], {theme.mute, 0.3});
  } else {
    canvas.Polygon(corners, theme.paper, {theme.rule, 0.3});
  }
}

void LinkPlot::DrawLink(Canvas& canvas, const Lines& lines, const LoadOfLink& link,
                        const PlotStyle& style) const {
  const double pitch = lines.pitch;
  const Spot step = StepOf(link.heading);
  const Spot side = RightOf(step);
  const auto lane = [&](Spot node, double begin, double end) {
    const Spot middle = Along(node, side, LANE * pitch);
    DrawLane(canvas, Along(middle, step, begin * pitch), Along(middle, step, end * pitch), pitch,
             link.load, style);
  };
  const Spot node = lines.Node(link.node);
  if (!LeadsAround(map.mesh, link.node, link.heading)) {
    lane(node, NODE / 2, 1 - NODE / 2);
    return;
  }
  const Spot target = lines.Node(TargetOf(map.mesh, link.node, link.heading));
  lane(node, NODE / 2, NODE / 2 + AROUND);
  lane(target, -NODE / 2 - AROUND, -NODE / 2);
}

// The load of a node, with as many digits as its square has room for, or none at all.
std::string LinkPlot::NodeText(double value, double side, const PlotStyle& style) const {
  const double largest =
      map.nodes.empty() ? 0 : *std::max_element(map.nodes.begin(), map.nodes.end());
  for (const int digits : {3, 2}) {
    const std::string widest = AlikeText(largest, largest, digits);
    if (largest > 0 && TextWidth(widest, Weight::REGULAR, style.LabelSize()) <= side - 1.5) {
      return AlikeText(value, largest, digits);
    }
  }
  return "";
}

void LinkPlot::DrawNodes(Canvas& canvas, const Lines& lines, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double side = NODE * lines.pitch;
  const double size = style.LabelSize();
  for (uint32_t row = 0; row < map.mesh.nodes.rows; ++row) {
    for (uint32_t column = 0; column < map.mesh.nodes.columns; ++column) {
      const Spot centre = lines.Node({column, row});
      const Box box = {centre.x - side / 2, centre.y - side / 2, side, side};
      canvas.Fill(box, Mixed(theme.paper, theme.mute, 0.08));
      canvas.Frame(box, {theme.mute, 0.35});
      const double load = map.nodes.empty() ? 0 : map.nodes[map.mesh.Number({column, row})];
      if (load > 0) {
        canvas.Text(NodeText(load, side, style), {centre.x, centre.y + size * 0.36}, Align::CENTRE,
                    size, theme.ink);
      } else if (!map.nodes.empty()) {
        canvas.Fill({centre.x - 0.4, centre.y - 0.4, 0.8, 0.8}, theme.mute);
      }
    }
  }
}

// The middle of a link's number: beside its lane where nothing is in the way, else upon it, which
// is as clear as to whom it belongs; and only then beside its neighbour.
Spot LinkPlot::PlaceOfNumber(const Lines& lines, const LoadOfLink& link, double width, double size,
                             const std::vector<Box>& taken) const {
  const Spot step = StepOf(link.heading);
  const Spot side = RightOf(step);
  const bool around = LeadsAround(map.mesh, link.node, link.heading);
  const double begin = NODE / 2;
  const double end = around ? begin + AROUND : 1 - NODE / 2;
  const Spot middle = Along(lines.Node(link.node), step, lines.pitch * (begin + end) / 2);
  const double beside =
      lines.pitch * (LANE + WIDEST / 2) + 1 + (side.x != 0 ? width / 2 : size * 0.45);
  // There is room between the numbers of the columns, and between those of the rows none.
  const double room = size * 1.3;
  const auto isFree = [&](Spot at) {
    const Box box = {at.x - width / 2, at.y - size / 2, width, size};
    return box.x >= lines.box.x - 1 && box.Right() <= lines.box.Right() + 1 &&
           box.y >= lines.box.y - 4 && box.Bottom() <= lines.box.Bottom() + room &&
           std::none_of(taken.begin(), taken.end(),
                        [&](const Box& other) { return Meet(box, other); });
  };
  std::vector<Spot> places = {Along(middle, side, beside)};
  if (side.x != 0 || (end - begin) * lines.pitch > width * 1.3) {
    places.push_back(Along(middle, side, lines.pitch * LANE));
  }
  places.push_back(Along(middle, side, -beside));
  for (const Spot& place : places) {
    const bool onLane = &place != &places.front() && &place != &places.back();
    const Box box = {place.x - width / 2, place.y - size / 2, width, size};
    if (isFree(place) || (onLane && std::none_of(taken.begin(), taken.end(), [&](const Box& other) {
                            return Meet(box, other);
                          }))) {
      return place;
    }
  }
  return {-1, -1};
}

void LinkPlot::DrawHottest(Canvas& canvas, const Lines& lines, const PlotStyle& style) const {
  const double size = style.LabelSize();
  std::vector<Box> taken;
  const std::vector<LoadOfLink> hottest = HottestOf(map, NUMBERED);
  for (const LoadOfLink& link : hottest) {
    const std::string text = AlikeText(link.load, hottest[0].load);
    const double width = TextWidth(text, Weight::BOLD, size);
    const Spot at = PlaceOfNumber(lines, link, width, size, taken);
    if (at.x >= 0) {
      canvas.TextOn(style.theme->paper, text, {at.x, at.y + size * 0.36}, Align::CENTRE, size,
                    style.theme->ink, Weight::BOLD);
      taken.push_back({at.x - width / 2 - 0.5, at.y - size * 0.5, width + 1, size});
    }
  }
}

void LinkPlot::DrawNumbers(Canvas& canvas, const Lines& lines, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const PerAxis nodes = map.mesh.nodes;
  const std::string widest = std::to_string(std::max(nodes.columns, nodes.rows) - 1);
  const double wide = TextWidth(widest, Weight::REGULAR, size);
  uint32_t stride = 1;
  while (lines.pitch * stride < std::max(APART * style.text, wide + size * 0.6)) {
    stride *= 2;
  }
  for (uint32_t column = 0; column < nodes.columns; column += stride) {
    canvas.Text(std::to_string(column),
                {lines.Node({column, 0}).x, lines.box.Bottom() + size * 1.25}, Align::CENTRE, size,
                theme.mute);
  }
  for (uint32_t row = 0; row < nodes.rows; row += stride) {
    canvas.Text(std::to_string(row), {lines.box.x - 3, lines.Node({0, row}).y + size * 0.36},
                Align::RIGHT, size, theme.mute);
  }
  canvas.Text("column" + map.names,
              {lines.box.x + lines.box.width / 2,
               lines.box.Bottom() + size * 1.9 + style.AxisSize() * 0.95},
              Align::CENTRE, style.AxisSize(), theme.ink);
  canvas.TextUpwards(
      "row" + map.names,
      {std::max(lines.box.x - 6 - wide, style.AxisSize()), lines.box.y + lines.box.height / 2},
      style.AxisSize(), theme.ink);
}

void LinkPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Lines lines = LinesIn(area);
  for (const LoadOfLink& link : LoadsOf(map)) {
    DrawLink(canvas, lines, link, style);
  }
  DrawNodes(canvas, lines, style);
  DrawHottest(canvas, lines, style);
  DrawNumbers(canvas, lines, style);
  if (!style.slide) {
    bar.DrawStanding(canvas, area, style);
  }
}

double LinkPlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  return bar.LyingHeight(style);
}

void LinkPlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  bar.DrawLying(canvas, box, style);
}

}  // namespace marrowfin
