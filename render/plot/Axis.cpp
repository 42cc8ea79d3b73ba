#include "render/plot/Axis.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

constexpr int MOST_DECIMALS = 9;
constexpr double MOST_PLAIN = 1e20;  // above any count; larger reals are told by powers of ten

std::string Formatted(double value, std::chars_format format, int digits) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof(text), value, format, digits).ptr};
}

// A round number with so many digits behind the point and commas before it.
std::string Label(double value, int decimals) {
  if (value < 0) {
    return "−" + Label(-value, decimals);
  }
  if (decimals > MOST_DECIMALS || value >= MOST_PLAIN) {
    return Formatted(value, std::chars_format::general, 6);
  }
  return decimals <= 0 ? CountText(WholeOf(std::round(value)))
                       : Formatted(value, std::chars_format::fixed, decimals);
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

std::vector<Tick> LinearTicks(double low, double high, size_t wanted) {
  std::vector<Tick> ticks;
  if (!(high > low)) {
    ticks.push_back({low, Label(low, 0)});
    return ticks;
  }
  const double step = RoundStep((high - low) / static_cast<double>(wanted));
  const int decimals = DecimalsOf(step);
  const double first = std::ceil(low / step - 1e-9) + 0.0;  // no minus zero
  // Where numbers are too large for their steps, some of them are the same number.
  const size_t most = 2 * wanted + 2;
  for (size_t i = 0; i < most; ++i) {
    const double value = (first + static_cast<double>(i)) * step;
    if (value > high + step * 1e-9) {
      break;
    }
    if (ticks.empty() || value > ticks.back().value) {
      ticks.push_back({value, Label(value, decimals)});
    }
  }
  return ticks;
}

double Scale::At(double value) const {
  const double share = (value - low) / (high - low);
  return from + share * (to - from);
}

Scale CycleScale::SinceFirst() const {
  return {0, static_cast<double>(last - first) + 1, from, to};
}

double CycleScale::At(uint64_t cycle, double part) const {
  return SinceFirst().At(static_cast<double>(cycle - first) + part);
}

std::vector<Tick> CycleTicks(uint64_t first, uint64_t last, size_t wanted) {
  const double cycles = static_cast<double>(last - first) + 1;
  const uint64_t step =
      WholeOf(std::max(1.0, std::round(RoundStep(cycles / static_cast<double>(wanted)))));
  std::vector<Tick> ticks;
  // The last tick may be the cycle behind the last one, if there is such a number.
  const uint64_t before = last - first;
  uint64_t since = (step - first % step) % step;
  while (since <= before || since - before == 1) {
    if (first + since < first) {
      break;
    }
    ticks.push_back({static_cast<double>(since), CountText(first + since)});
    if (since + step < since) {
      break;
    }
    since += step;
  }
  return ticks;
}

std::vector<Tick> CycleTicks(uint64_t first, uint64_t last, double width, const PlotStyle& style) {
  const double size = style.LabelSize();
  const double room = TextWidth(CountText(last), Weight::REGULAR, size) + 2.5 * size;
  return CycleTicks(first, last, static_cast<size_t>(std::max(2.0, width / room)));
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
