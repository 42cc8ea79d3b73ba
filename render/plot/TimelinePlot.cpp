#include "render/plot/TimelinePlot.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "measure/NumberText.h"
#include "measure/ShareText.h"

namespace marrowfin {
namespace {

constexpr double LEGEND_LINE = 1.8;  // from layer to layer, of the size of the text

uint64_t SumOf(const std::vector<uint64_t>& counts) {
  return std::accumulate(counts.begin(), counts.end(), uint64_t{0});
}

}  // namespace

TimelinePlot::TimelinePlot(const TimeColumns& columns, std::vector<TimelineLayer> layers,
                           std::optional<std::vector<Phase>> phases, std::string axis,
                           std::string legend)
    : columns(columns),
      layers(std::move(layers)),
      phases(std::move(phases)),
      axis(std::move(axis)),
      legend(std::move(legend)) {
  for (size_t column = 0; column < columns.Count(); ++column) {
    double sum = 0;
    for (const TimelineLayer& layer : this->layers) {
      sum += RateOf(layer.counts[column], column);
    }
    highest = std::max(highest, sum);
  }
}

// Of all that is counted.
std::string TimelinePlot::ShareOf(size_t layer) const {
  uint64_t all = 0;
  for (const TimelineLayer& each : layers) {
    all += SumOf(each.counts);
  }
  return ShareText(SumOf(layers[layer].counts), all);
}

double TimelinePlot::RateOf(uint64_t count, size_t column) const {
  return static_cast<double>(count) / static_cast<double>(columns.WidthOf(column));
}

PlotBody::Margins TimelinePlot::GetMargins(const PlotStyle& style) const {
  double legendWidth = 14;
  for (size_t layer = 0; !style.slide && layers.size() > 1 && layer < layers.size(); ++layer) {
    const double size = style.LabelSize();
    legendWidth = std::max({legendWidth, 11 + TextWidth(legend, Weight::REGULAR, size),
                            11 + size * 1.8 + TextWidth(layers[layer].name, Weight::BOLD, size) +
                                TextWidth(ShareOf(layer), Weight::REGULAR, size)});
  }
  return {30 * style.text, legendWidth, 5 + style.LabelSize() * 1.2 + style.AxisSize() * 1.8};
}

double TimelinePlot::HeightFor(double width, const PlotStyle& style) const {
  return std::max(width * 0.28, 90 * style.text);
}

void TimelinePlot::DrawLayers(Canvas& canvas, const CycleScale& x, const Scale& y,
                              const PlotStyle& style) const {
  for (size_t column = 0; column < columns.Count(); ++column) {
    const double left = x.At(columns.FirstOf(column));
    const double right =
        x.At(columns.FirstOf(column), static_cast<double>(columns.WidthOf(column)));
    double below = 0;
    for (size_t layer = 0; layer < layers.size(); ++layer) {
      const double above = below + RateOf(layers[layer].counts[column], column);
      if (above > below) {
        const Box box = {left, y.At(above), right - left, y.At(below) - y.At(above)};
        canvas.Fill(box, style.theme->categories[layer]);
        if (layer >= Theme::PLAIN_CATEGORIES) {
          canvas.Hatch(box, style.theme->paper);
        }
      }
      below = above;
    }
  }
}

void TimelinePlot::DrawPhases(Canvas& canvas, const Box& area, const CycleScale& x, const Scale& y,
                              const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  char letter = 'A';
  for (const Phase& phase : *phases) {
    const size_t last = phase.firstColumn + phase.columns - 1;
    const double left = x.At(columns.FirstOf(phase.firstColumn));
    const double right = x.At(columns.FirstOf(last), static_cast<double>(columns.WidthOf(last)));
    if (phase.firstColumn > 0) {
      canvas.Vertical(left, area.y - 8 * style.text, area.Bottom(), {theme.ink, 0.6, {2, 1.5}});
    }
    const double mean = phase.mean / static_cast<double>(columns.width);
    const double height = y.At(mean);
    canvas.Horizontal(left, right, height, {theme.paper, 2.2});
    canvas.Horizontal(left, right, height, {theme.ink, 0.9});
    const std::string name(1, letter++);
    const std::string both = name + "  " + ThreeDigits(mean);
    const double size = style.LabelSize();
    const bool fits = TextWidth(both, Weight::BOLD, size) + 3 < right - left;
    if (fits || TextWidth(name, Weight::BOLD, size) < right - left) {
      canvas.Text(fits ? both : name, {(left + right) / 2, area.y - 3 * style.text}, Align::CENTRE,
                  size, theme.ink, Weight::BOLD);
    }
  }
}

double TimelinePlot::LeastHeight(double width, const PlotStyle& style) const {
  return std::max(TextWidth(axis, Weight::REGULAR, style.AxisSize()), LegendHeight(width, style));
}

// The layers as they are stacked, the first at `bottom`.
void TimelinePlot::DrawLayerNames(Canvas& canvas, Spot bottom, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const size_t lines = LinesOfLegend(style);
  const double first = bottom.y - size * 0.2;
  for (size_t layer = 0; layer < layers.size(); ++layer) {
    const double x = bottom.x + size * 11 * static_cast<double>(layer / lines);
    const double y = first - size * LEGEND_LINE * static_cast<double>(layer % lines);
    const Box box = {x, y - size * 0.85, size, size};
    canvas.Fill(box, theme.categories[layer]);
    if (layer >= Theme::PLAIN_CATEGORIES) {
      canvas.Hatch(box, theme.paper);
    }
    canvas.Text(layers[layer].name, {x + size * 1.4, y}, Align::LEFT, size, theme.ink,
                Weight::BOLD);
    const double name = TextWidth(layers[layer].name, Weight::BOLD, size);
    canvas.Text(ShareOf(layer), {x + size * 1.8 + name, y}, Align::LEFT, size, theme.mute);
  }
  canvas.Text(legend, {bottom.x, first - size * LEGEND_LINE * static_cast<double>(lines)},
              Align::LEFT, size, theme.mute);
}

size_t TimelinePlot::LinesOfLegend(const PlotStyle& style) const {
  const size_t columns = style.ColumnsFor(layers.size());
  return (layers.size() + columns - 1) / columns;
}

double TimelinePlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  return layers.size() > 1
             ? style.LabelSize() * LEGEND_LINE * static_cast<double>(LinesOfLegend(style) + 1)
             : 0;
}

void TimelinePlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  if (layers.size() > 1) {
    DrawLayerNames(canvas, {box.x, box.Bottom()}, style);
  }
}

void TimelinePlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  Box plot = area;
  if (phases) {
    plot.y += 10 * style.text;
    plot.height -= 10 * style.text;
  }
  const double top = highest > 0 ? highest * 1.04 : 1;
  const Scale y = {0, top, plot.Bottom(), plot.y};
  const CycleScale x = {columns.first, columns.last, plot.x, plot.Right()};
  DrawVerticalAxis(canvas, plot, y, LinearTicks(0, top, 4), axis, style);
  DrawLayers(canvas, x, y, style);
  if (phases) {
    DrawPhases(canvas, plot, x, y, style);
  }
  const size_t ticks = static_cast<size_t>(std::max(3.0, plot.width / (60 * style.text)));
  DrawHorizontalAxis(canvas, plot, x.SinceFirst(), CycleTicks(columns.first, columns.last, ticks),
                     "cycle", style);
  if (layers.size() > 1 && !style.slide) {
    DrawLayerNames(canvas, {plot.Right() + 7, plot.Bottom()}, style);
  }
}

std::vector<TimelineLayer> LayersByThread(const Timeline& times) {
  std::vector<uint32_t> threads = times.Threads();
  const bool lumped = threads.size() > Theme::CATEGORIES || SumOf(times.OfOthers()) > 0;
  std::vector<TimelineLayer> layers;
  TimelineLayer others = {"others", times.OfOthers()};
  if (lumped) {
    std::stable_sort(threads.begin(), threads.end(), [&](uint32_t a, uint32_t b) {
      return SumOf(times.OfThread(a)) > SumOf(times.OfThread(b));
    });
    for (size_t i = Theme::CATEGORIES - 1; i < threads.size(); ++i) {
      for (size_t column = 0; column < others.counts.size(); ++column) {
        others.counts[column] += times.OfThread(threads[i])[column];
      }
    }
    threads.resize(std::min(threads.size(), Theme::CATEGORIES - 1));
    std::sort(threads.begin(), threads.end());
  }
  for (const uint32_t thread : threads) {
    layers.push_back({std::to_string(thread), times.OfThread(thread)});
  }
  if (lumped) {
    layers.push_back(std::move(others));
  }
  return layers;
}

std::vector<TimelineLayer> LayersByType(const Timeline& times) {
  std::vector<TimelineLayer> layers;
  for (const auto& [name, type] : {std::pair<const char*, uint32_t>{"fires", FIRE_RECORD},
                                   {"sends", SEND_RECORD},
                                   {"transmissions", SWITCH_RECORD}}) {
    if (SumOf(times.OfType(type)) > 0) {
      layers.push_back({name, times.OfType(type)});
    }
  }
  return layers;
}

}  // namespace marrowfin
