#include "render/plot/ScaleBar.h"

#include <algorithm>
#include <utility>

#include "measure/NumberText.h"
#include "render/plot/Axis.h"

namespace marrowfin {
namespace {

// The bars that tell how many values are on a step: seen, and below the colours.
Color BarColor(const Theme& theme) { return Mixed(theme.rule, theme.mute, 1.0 / 3); }

}  // namespace

size_t HeatScale::StepOf(double value) const {
  const double step = value / end * static_cast<double>(Theme::STEPS);
  return static_cast<size_t>(std::clamp(step, 0.0, static_cast<double>(Theme::STEPS - 1)));
}

HeatScale ScaleOf(std::span<const double> values, std::optional<double> end) {
  std::vector<double> above;
  std::copy_if(values.begin(), values.end(), std::back_inserter(above),
               [](double value) { return value > 0; });
  HeatScale scale;
  if (above.empty()) {
    scale.end = end.value_or(1);
    scale.wider = end.has_value();
    return scale;
  }
  std::sort(above.begin(), above.end());
  const size_t rank = (above.size() * 99 + 99) / 100;
  const double most = above[rank - 1];
  scale.end = end ? *end : above.back() > 1.5 * most ? most : above.back();
  scale.above =
      static_cast<size_t>(above.end() - std::upper_bound(above.begin(), above.end(), scale.end));
  scale.clipped = scale.above > 0;
  scale.wider = scale.end > above.back();
  return scale;
}

std::string ClippingText(const HeatScale& scale, const std::string& above) {
  if (scale.clipped) {
    return above + " above " + ThreeDigits(scale.end) + (scale.above == 1 ? " takes" : " take") +
           " the last colour";
  }
  return "scale 0 to " + (scale.wider ? ThreeDigits(scale.end) : "largest") + ", nothing clipped";
}

ScaleBar::ScaleBar(std::span<const double> values, const HeatScale& scale, std::string title,
                   std::string thing, std::string zero)
    : scale(scale),
      title(std::move(title)),
      thing(std::move(thing)),
      zero(std::move(zero)),
      counts(Theme::STEPS) {
  for (const double value : values) {
    counts[scale.StepOf(value)] += value > 0 ? 1 : 0;
    never += value > 0 ? 0 : 1;
  }
  most = std::max<size_t>(1, *std::max_element(counts.begin(), counts.end()));
}

// How many have no colour, and what stands for them; the base line of the first text is at `spot`.
void ScaleBar::DrawNever(Canvas& canvas, Spot spot, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const double wide = 9 * style.text;
  canvas.Text(CountOf(never, thing), spot, Align::LEFT, size, theme.ink);
  const Box box = {spot.x, spot.y + size * 0.35, wide, size * 1.2};
  canvas.Fill(box, theme.paper);
  canvas.Frame(box, {theme.mute, 0.35});
  canvas.Fill({box.x + wide / 2 - 0.4, box.y + box.height / 2 - 0.4, 0.8, 0.8}, theme.rule);
  canvas.Text(zero, {spot.x + wide + 3, spot.y + size * 1.3}, Align::LEFT, size, theme.ink);
}

void ScaleBar::DrawStanding(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const double left = area.Right() + 6;
  const double bar = area.Right() + 20 * style.text;
  const double wide = 9 * style.text;
  const std::vector<std::string> lines = WrapText(title, Weight::REGULAR, size, TITLE * style.text);
  const double heading = static_cast<double>(lines.size()) * size * 1.3 + 2;
  const double nothing = never > 0 ? size * 3.2 : 0;
  const double height =
      std::min(area.height - heading - nothing, std::max(area.height * 0.62, 40 * style.text));
  const double top = area.Bottom() - height;
  if (never > 0) {
    DrawNever(canvas, {left, top - heading - nothing + size}, style);
  }
  for (size_t i = 0; i < lines.size(); ++i) {
    canvas.Text(lines[i], {left, top - heading + (static_cast<double>(i) + 1) * size * 1.3 - 2},
                Align::LEFT, size, theme.ink);
  }
  const double step = height / static_cast<double>(Theme::STEPS);
  for (size_t i = 0; i < Theme::STEPS; ++i) {
    const double y = area.Bottom() - static_cast<double>(i + 1) * step;
    canvas.Cell({bar, y, wide, step}, theme.sequence[i]);
    if (counts[i] > 0) {
      const double length =
          std::max(canvas.Pixel(),
                   13 * style.text * static_cast<double>(counts[i]) / static_cast<double>(most));
      canvas.Fill({bar - 1 - length, y + step * 0.15, length, step * 0.7}, BarColor(theme));
    }
  }
  canvas.Frame({bar, top, wide, height}, {theme.mute, 0.35});
  const Scale axis = {0, scale.end, area.Bottom(), top};
  for (const Tick& tick : LinearTicks(0, scale.end, 4)) {
    const double y = axis.At(tick.value);
    canvas.Horizontal(bar + wide, bar + wide + 2, y, {theme.ink, 0.35});
    canvas.Text(tick.label, {bar + wide + 3, y + size * 0.36}, Align::LEFT, size, theme.ink);
  }
}

namespace {

// The parts of a lying bar, from its top down, in sizes of its letters.
constexpr double LYING_TITLE = 1.6;
constexpr double LYING_COUNTS = 1.7;
constexpr double LYING_STEPS = 1.2;
constexpr double LYING_NUMBERS = 1.6;
constexpr double LYING_NEVER = 2.4;

}  // namespace

double ScaleBar::LyingHeight(const PlotStyle& style) const {
  return style.LabelSize() *
         (LYING_TITLE + LYING_COUNTS + LYING_STEPS + LYING_NUMBERS + (never > 0 ? LYING_NEVER : 0));
}

void ScaleBar::DrawLying(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  canvas.Text(title, {box.x, box.y + size}, Align::LEFT, size, theme.ink);
  const double top = box.y + size * (LYING_TITLE + LYING_COUNTS);
  const double step = box.width / static_cast<double>(Theme::STEPS);
  for (size_t i = 0; i < Theme::STEPS; ++i) {
    const double x = box.x + static_cast<double>(i) * step;
    canvas.Cell({x, top, step, size * LYING_STEPS}, theme.sequence[i]);
    if (counts[i] > 0) {
      const double height =
          std::max(canvas.Pixel(), size * (LYING_COUNTS - 0.2) * static_cast<double>(counts[i]) /
                                       static_cast<double>(most));
      canvas.Fill({x + step * 0.15, top - 1 - height, step * 0.7, height}, BarColor(theme));
    }
  }
  const double bottom = top + size * LYING_STEPS;
  canvas.Frame({box.x, top, box.width, size * LYING_STEPS}, {theme.mute, 0.35});
  const Scale axis = {0, scale.end, box.x, box.Right()};
  for (const Tick& tick : LinearTicks(0, scale.end, 4)) {
    const double x = axis.At(tick.value);
    const double half = TextWidth(tick.label, Weight::REGULAR, size) / 2;
    canvas.Vertical(x, bottom, bottom + 2, {theme.ink, 0.35});
    canvas.Text(tick.label, {std::clamp(x, box.x + half, box.Right() - half), bottom + 3 + size},
                Align::CENTRE, size, theme.ink);
  }
  if (never > 0) {
    DrawNever(canvas, {box.x, bottom + size * (LYING_NUMBERS + 1)}, style);
  }
}

}  // namespace marrowfin
