#include "render/plot/LatencyPlot.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

// The lines from the top one down: name, member, weight of the name.
struct Line {
  const char* name;
  std::optional<uint64_t> LatencyPoint::*of;
  Weight weight;
};
constexpr Line LINES[] = {{"longest", &LatencyPoint::longest, Weight::REGULAR},
                          {"99 %", &LatencyPoint::most99, Weight::REGULAR},
                          {"95 %", &LatencyPoint::most95, Weight::REGULAR},
                          {"median", &LatencyPoint::median, Weight::BOLD}};

constexpr double LEADER = 9;  // points from the area to the names of lines

// A logarithm has no zero: latencies below one cycle are drawn at one.
double Logarithm(uint64_t latency) {
  return std::log10(static_cast<double>(std::max<uint64_t>(latency, 1)));
}

constexpr char AXIS[] = "latency, cycles (log scale)";

double RoundDown(double log) {
  const double power = std::floor(log + 1e-9);
  const double lead = std::pow(10, log - power);
  return power + std::log10(lead >= 5 - 1e-6 ? 5 : lead >= 2 - 1e-6 ? 2 : 1);
}

double RoundUp(double log) {
  const double power = std::floor(log + 1e-9);
  const double lead = std::pow(10, log - power);
  return power + std::log10(lead <= 1 + 1e-6   ? 1
                            : lead <= 2 + 1e-6 ? 2
                            : lead <= 5 + 1e-6 ? 5
                                               : 10);
}

// 1, 2 and 5 times powers of ten, or where there is no room for those the powers alone.
std::vector<Tick> LogTicks(double low, double high, size_t most) {
  for (const std::vector<int>& leads : {std::vector<int>{1, 2, 5}, std::vector<int>{1}}) {
    std::vector<Tick> ticks;
    for (double power = std::floor(low); power <= high; ++power) {
      for (const int lead : leads) {
        const double at = power + std::log10(lead);
        if (at >= low - 1e-9 && at <= high + 1e-9) {
          ticks.push_back({at, CountText(WholeOf(std::round(lead * std::pow(10, power))))});
        }
      }
    }
    if (ticks.size() <= most || leads.size() == 1) {
      return ticks;
    }
  }
  return {};
}

}  // namespace

// Cycles across and logarithms of latencies up.
struct LatencyPlot::Axes {
  CycleScale x;
  Scale y;
};

LatencyPlot::LatencyPlot(LatencyCurves latencies) : curves(std::move(latencies)) {}

PlotBody::Margins LatencyPlot::GetMargins(const PlotStyle& style) const {
  return {30 * style.text, LEADER + 3 + TextWidth("median", Weight::BOLD, style.LabelSize()) + 4,
          5 + style.LabelSize() * 1.2 + style.AxisSize() * 1.8};
}

double LatencyPlot::HeightFor(double width, const PlotStyle& style) const {
  return std::max(std::min(width * 0.66, 200 * style.text), 90 * style.text);
}

LatencyPlot::Axes LatencyPlot::AxesFor(const Box& area, const PlotStyle& style) const {
  double low = 1e9;
  double high = -1;
  for (const LatencyPoint& point : curves.points) {
    for (const Line& line : LINES) {
      if (const std::optional<uint64_t>& value = point.*line.of) {
        low = std::min(low, Logarithm(*value));
        high = std::max(high, Logarithm(*value));
      }
    }
  }
  low = low > high ? 0 : RoundDown(low);
  high = std::max(low + std::log10(2), RoundUp(high));
  // Room above the highest rule for what is said of the onset.
  const double above = curves.onset ? style.LabelSize() * 2.9 : 0;
  return {{curves.windows.first, curves.windows.last, area.x, area.Right()},
          {low, high, area.Bottom(), area.y + above}};
}

Spot LatencyPlot::SpotOf(const Axes& axes, size_t window, uint64_t latency) const {
  const double middle = static_cast<double>(curves.windows.WidthOf(window)) / 2;
  return {axes.x.At(curves.windows.FirstOf(window), middle), axes.y.At(Logarithm(latency))};
}

void LatencyPlot::DrawBand(Canvas& canvas, const Axes& axes, Curve below, Curve above,
                           Color color) const {
  std::vector<Spot> lower;
  std::vector<Spot> around;
  const auto draw = [&] {
    if (around.size() > 1) {
      around.insert(around.end(), lower.rbegin(), lower.rend());
      canvas.Area(around, color);
    }
    lower.clear();
    around.clear();
  };
  for (size_t i = 0; i < curves.points.size(); ++i) {
    const LatencyPoint& point = curves.points[i];
    if (point.*below && point.*above) {
      lower.push_back(SpotOf(axes, i, *(point.*below)));
      around.push_back(SpotOf(axes, i, *(point.*above)));
    } else {
      draw();
    }
  }
  draw();
}

// A line through the windows that have a value; a window between two that have none is a dash.
void LatencyPlot::DrawCurve(Canvas& canvas, const Axes& axes, Curve curve, const Pen& pen) const {
  std::vector<Spot> spots;
  const auto draw = [&] {
    if (spots.size() == 1) {
      const double half =
          std::max(1.0, axes.x.At(curves.windows.first, static_cast<double>(curves.windows.width)) -
                            axes.x.from) *
          0.4;
      spots = {{spots[0].x - half, spots[0].y}, {spots[0].x + half, spots[0].y}};
    }
    if (!spots.empty()) {
      canvas.Line(spots, pen);
    }
    spots.clear();
  };
  for (size_t i = 0; i < curves.points.size(); ++i) {
    if (const std::optional<uint64_t>& value = curves.points[i].*curve) {
      spots.push_back(SpotOf(axes, i, *value));
    } else {
      draw();
    }
  }
  draw();
}

void LatencyPlot::DrawIncomplete(Canvas& canvas, const Box& area, const Axes& axes,
                                 const PlotStyle& style) const {
  for (size_t i = 0; i < curves.points.size(); ++i) {
    if (curves.points[i].incomplete) {
      const uint64_t first = curves.windows.FirstOf(i);
      const double left = axes.x.At(first);
      const double right = axes.x.At(first, static_cast<double>(curves.windows.WidthOf(i)));
      canvas.Hatch({left, area.y, right - left, area.height}, style.theme->rule);
    }
  }
}

void LatencyPlot::DrawOnset(Canvas& canvas, const Box& area, const Axes& axes,
                            const PlotStyle& style) const {
  if (!curves.onset) {
    return;
  }
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const double x = axes.x.At(*curves.onset);
  const std::string when = "onset " + CountText(*curves.onset);
  const std::string why = "95 % > 2 × " + CountText(curves.early);
  const double width =
      std::max(TextWidth(when, Weight::BOLD, size), TextWidth(why, Weight::REGULAR, size));
  const bool left = x - 4 - width > area.x;
  const double edge = left ? x - 3 : x + 3;
  const Align align = left ? Align::RIGHT : Align::LEFT;
  const double top = area.y;
  canvas.Text(when, {edge, top + size}, align, size, theme.ink, Weight::BOLD);
  canvas.Text(why, {edge, top + size * 2.3}, align, size, theme.ink);
  canvas.Vertical(x, top, area.Bottom(), {theme.ink, 0.7, {2, 1.5}});
}

// Names right of the area, with a line from each to the end of what it names.
void LatencyPlot::DrawNames(Canvas& canvas, const Box& area, const Axes& axes,
                            const PlotStyle& style) const {
  const double size = style.LabelSize();
  const double step = size * 1.3;
  struct Name {
    const Line* line;
    Spot end;
    double y;
  };
  std::vector<Name> names;
  for (const Line& line : LINES) {
    for (size_t i = curves.points.size(); i > 0; --i) {
      if (const std::optional<uint64_t>& value = curves.points[i - 1].*line.of) {
        const Spot end = SpotOf(axes, i - 1, *value);
        const double above = names.empty() ? area.y + size * 0.5 : names.back().y + step;
        names.push_back({&line, end, std::max(end.y, above)});
        break;
      }
    }
  }
  double below = area.Bottom();
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    name->y = std::min(name->y, below);
    below = name->y - step;
  }
  for (const Name& name : names) {
    const double from = std::max(name.end.x + 2, area.x);
    canvas.Line({{from, name.end.y}, {area.Right() + LEADER - 1, name.y}},
                {style.theme->mute, 0.35});
    canvas.Text(name.line->name, {area.Right() + LEADER, name.y + size * 0.36}, Align::LEFT, size,
                style.theme->ink, name.line->weight);
  }
}

double LatencyPlot::LeastHeight(double /*width*/, const PlotStyle& style) const {
  return TextWidth(AXIS, Weight::REGULAR, style.AxisSize());
}

void LatencyPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const Axes axes = AxesFor(area, style);
  const size_t most = static_cast<size_t>(std::max(2.0, area.height / (style.LabelSize() * 1.8)));
  DrawVerticalAxis(canvas, area, axes.y, LogTicks(axes.y.low, axes.y.high, most), AXIS, style);
  DrawBand(canvas, axes, &LatencyPoint::most95, &LatencyPoint::most99, theme.sequence[1]);
  DrawBand(canvas, axes, &LatencyPoint::median, &LatencyPoint::most95, theme.sequence[3]);
  DrawIncomplete(canvas, area, axes, style);
  DrawCurve(canvas, axes, &LatencyPoint::longest, {theme.mute, 0.5, {0.8, 1.4}});
  DrawCurve(canvas, axes, &LatencyPoint::most99, {theme.ink, 0.7, {2.5, 1.3}});
  DrawCurve(canvas, axes, &LatencyPoint::most95, {theme.ink, 0.8});
  DrawCurve(canvas, axes, &LatencyPoint::median, {theme.ink, 1.6});
  DrawOnset(canvas, area, axes, style);
  DrawNames(canvas, area, axes, style);
  DrawHorizontalAxis(canvas, area, axes.x.SinceFirst(),
                     CycleTicks(curves.windows.first, curves.windows.last, area.width, style),
                     curves.axis, style);
}

}  // namespace marrowfin
