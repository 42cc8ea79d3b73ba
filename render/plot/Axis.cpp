#include "render/plot/Axis.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

// A round number with so many digits behind the point and commas before it.
std::string Label(double value, int decimals) {
  if (decimals <= 0) {
    return CountText(static_cast<uint64_t>(std::llround(value)));
  }
  char text[64];
  return {text,
          std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, decimals).ptr};
}

double RoundStep(double step) {
  const double unit = std::pow(10, std::floor(std::log10(step)));
  const double lead = step / unit;
  return unit * (lead <= 1.000001 ? 1 : lead <= 2.000001 ? 2 : lead <= 5.000001 ? 5 : 10);
}

int DecimalsOf(double step) {
  return static_cast<int>(std::max(0.0, -std::floor(std::log10(step) + 1e-9)));
}

}  // namespace

std::vector<Tick> LinearTicks(double low, double high, size_t wanted, double least) {
  std::vector<Tick> ticks;
  if (!(high > low)) {
    ticks.push_back({low, Label(low, 0)});
    return ticks;
  }
  const double step = std::max(least, RoundStep((high - low) / static_cast<double>(wanted)));
  const double first = std::ceil(low / step - 1e-9) + 0.0;  // no minus zero
  for (double i = first; i * step <= high + step * 1e-9; ++i) {
    ticks.push_back({i * step, Label(i * step, DecimalsOf(step))});
  }
  return ticks;
}

std::vector<Tick> CycleTicks(uint64_t first, uint64_t last, double width, const PlotStyle& style) {
  const double size = style.LabelSize();
  const double room = TextWidth(CountText(last), Weight::REGULAR, size) + 2.5 * size;
  const size_t wanted = static_cast<size_t>(std::max(2.0, width / room));
  return LinearTicks(static_cast<double>(first), static_cast<double>(last) + 1, wanted, 1);
}

double Scale::At(double value) const {
  const double share = (value - low) / (high - low);
  return from + share * (to - from);
}

void DrawVerticalAxis(Canvas& canvas, const Box& area, const Scale& scale,
                      const std::vector<Tick>& ticks, const std::string& title,
                      const PlotStyle& style) {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  double widest = 0;
  for (const Tick& tick : ticks) {
    const double y = scale.At(tick.value);
    canvas.Horizontal(area.x, area.Right(), y, {theme.rule, 0.35});
    canvas.Text(tick.label, {area.x - 3, y + size * 0.36}, Align::RIGHT, size, theme.mute);
    widest = std::max(widest, TextWidth(tick.label, Weight::REGULAR, size));
  }
  const double x = std::max(style.AxisSize() + 1, area.x - 3 - widest - style.AxisSize() * 0.7);
  canvas.TextUpwards(title, {x, area.y + area.height / 2}, style.AxisSize(), theme.ink);
}

void DrawHorizontalAxis(Canvas& canvas, const Box& area, const Scale& scale,
                        const std::vector<Tick>& ticks, const std::string& title,
                        const PlotStyle& style) {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  canvas.Horizontal(area.x, area.Right(), area.Bottom(), {theme.ink, 0.5});
  for (const Tick& tick : ticks) {
    const double x = scale.At(tick.value);
    canvas.Vertical(x, area.Bottom(), area.Bottom() + 2, {theme.ink, 0.5});
    canvas.Text(tick.label, {x, area.Bottom() + 3 + size}, Align::CENTRE, size, theme.mute);
  }
  canvas.Text(title, {area.x + area.width / 2, area.Bottom() + 5 + size + style.AxisSize() * 1.3},
              Align::CENTRE, style.AxisSize(), theme.ink);
}

}  // namespace marrowfin
