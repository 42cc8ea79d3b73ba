#include "render/plot/ThreadPlot.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

constexpr double LEGEND_LINE = 1.9;  // from thread to thread, of the size of the text
constexpr double DOTTED = 6;         // pixels of a cell in which a dot is seen

// The slots of the threads that have a colour of their own, in ascending order.
std::vector<size_t> ColoredSlots(const ThreadMap& map) {
  const size_t others = map.threads.size();
  std::vector<size_t> slots;
  for (size_t slot = 0; slot < others; ++slot) {
    if (map.fires[slot] > 0) {
      slots.push_back(slot);
    }
  }
  if (slots.size() <= Theme::CATEGORIES && map.fires[others] == 0) {
    return slots;
  }
  std::stable_sort(slots.begin(), slots.end(),
                   [&](size_t a, size_t b) { return map.fires[a] > map.fires[b]; });
  slots.resize(std::min(slots.size(), Theme::CATEGORIES - 1));
  std::sort(slots.begin(), slots.end());
  return slots;
}

}  // namespace

ThreadColors::ThreadColors(const ThreadMap& map) {
  const std::vector<size_t> colored = ColoredSlots(map);
  ofSlot.assign(map.fires.size(), colored.size());
  for (const size_t slot : colored) {
    ofSlot[slot] = entries.size();
    entries.push_back({std::to_string(map.threads[slot]), 0, 0});
  }
  entries.push_back({"others", 0, 0});
  for (size_t slot = 0; slot < map.fires.size(); ++slot) {
    entries[ofSlot[slot]].fires += map.fires[slot];
  }
  for (const PlaceThread& place : map.places) {
    entries[ofSlot[place.slot]].places += place.fires > 0 ? 1 : 0;
  }
  if (entries.back().fires == 0) {
    entries.pop_back();
  }
}

bool ShareAllPlaces(const ThreadMap& map) {
  bool fires = false;
  for (const PlaceThread& place : map.places) {
    if (map.IsOwn(place)) {
      return false;
    }
    fires = fires || place.fires > 0;
  }
  return fires;
}

ThreadPlot::ThreadPlot(ThreadMap threads)
    : map(std::move(threads)), colors(map), shared(ShareAllPlaces(map)) {}

std::string ThreadPlot::PlacesText(const ThreadColors::Entry& entry) const {
  return CountOf(entry.places, LevelName(map.level));
}

PlotBody::Margins ThreadPlot::GetMargins(const PlotStyle& style) const {
  if (shared) {
    return {8, 8, 0};
  }
  Margins margins = ArrayGrid::MarginsFor(map.shape, map.level, style);
  margins.right = 10;
  for (const ThreadColors::Entry& entry : colors.Entries()) {
    const double size = style.LabelSize();
    const double wide = 14 + size * 2 + TextWidth(entry.name, Weight::BOLD, size) +
                        TextWidth(PlacesText(entry), Weight::REGULAR, size);
    margins.right = style.slide ? 6 : std::max(margins.right, wide);
  }
  return margins;
}

double ThreadPlot::HeightFor(double width, const PlotStyle& style) const {
  const double line = style.LabelSize() * LEGEND_LINE;
  const double legend = line * (static_cast<double>(colors.Entries().size()) + 1);
  return shared ? std::max(legend + line, 30.0)
                : std::max(ArrayGrid::HeightFor(map.shape, map.level, width, style), legend);
}

// Where hatching is too fine for a cell it goes on in the next one.
void ThreadPlot::DrawSquare(Canvas& canvas, const Box& box, size_t entry,
                            const PlotStyle& style) const {
  canvas.Cell(box, style.theme->categories[entry]);
  if (entry >= Theme::PLAIN_CATEGORIES) {
    canvas.Hatch(box, style.theme->paper);
  }
}

void ThreadPlot::DrawMap(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const ArrayGrid grid(map.shape, map.level, area, style);
  grid.DrawFrame(canvas, style);
  const double cell = grid.CellSize();
  for (size_t i = 0; i < map.places.size(); ++i) {
    const PlaceThread& place = map.places[i];
    if (place.fires == 0) {
      if (grid.ShowsDots()) {
        grid.DrawDot(canvas, i, style);
      }
      continue;
    }
    DrawSquare(canvas, grid.CellOf(i), colors.OfSlot(place.slot), style);
    if (!map.IsOwn(place) && cell >= DOTTED * canvas.Pixel()) {
      const Spot centre = grid.CentreOf(i);
      const double dot = std::clamp(cell * 0.36, 2 * canvas.Pixel(), 4.0);
      canvas.Fill({centre.x - dot / 2, centre.y - dot / 2, dot, dot},
                  InkOn(style.theme->categories[colors.OfSlot(place.slot)]));
    }
  }
  grid.DrawNumbers(canvas, style);
}

// A bar for each thread, below each other: what it has of all fires.
void ThreadPlot::DrawShares(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const double line = size * LEGEND_LINE;
  uint64_t all = 0;
  double names = 0;
  for (const ThreadColors::Entry& entry : colors.Entries()) {
    all += entry.fires;
    names = std::max(names, TextWidth(entry.name, Weight::BOLD, size));
  }
  const double left = area.x + names + size * 0.8;
  const double longest = area.Right() - left - TextWidth("100.0 %", Weight::REGULAR, size) - size;
  double y = area.y + size * 1.2;
  canvas.Text("thread, share of all fires", {area.x, y}, Align::LEFT, size, theme.mute);
  for (size_t entry = 0; entry < colors.Entries().size(); ++entry) {
    y += line;
    const ThreadColors::Entry& thread = colors.Entries()[entry];
    const double share = static_cast<double>(thread.fires) / static_cast<double>(all);
    canvas.Text(thread.name, {area.x + names, y}, Align::RIGHT, size, theme.ink, Weight::BOLD);
    DrawSquare(canvas, {left, y - size * 0.95, std::max(0.5, longest * share), size * 1.15}, entry,
               style);
    canvas.Text(PercentText(share), {left + longest * share + size * 0.6, y}, Align::LEFT, size,
                theme.mute);
  }
}

void ThreadPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  if (shared) {
    DrawShares(canvas, area, style);
    return;
  }
  DrawMap(canvas, area, style);
  if (!style.slide) {
    const double height = LegendHeight(0, style);
    DrawLegend(canvas, {area.Right() + 7, area.Bottom() - height, 0, height}, style);
  }
}

double ThreadPlot::LegendHeight(double /*width*/, const PlotStyle& style) const {
  const size_t columns = style.ColumnsFor(colors.Entries().size());
  const size_t lines = (colors.Entries().size() + columns - 1) / columns + 1;
  return shared ? 0 : style.LabelSize() * LEGEND_LINE * static_cast<double>(lines);
}

void ThreadPlot::DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const {
  if (shared) {
    return;
  }
  const Theme& theme = *style.theme;
  const double size = style.LabelSize();
  const size_t columns = style.ColumnsFor(colors.Entries().size());
  const size_t lines = (colors.Entries().size() + columns - 1) / columns;
  const double top = box.y + size * 1.2;
  canvas.Text("thread", {box.x, top}, Align::LEFT, size, theme.ink);
  // As threads are stacked over time: the lowest below.
  for (size_t i = 0; i < colors.Entries().size(); ++i) {
    const size_t entry = colors.Entries().size() - 1 - i;
    const double x = box.x + box.width / 2 * static_cast<double>(i / lines);
    const double y = top + size * LEGEND_LINE * static_cast<double>(i % lines + 1);
    const ThreadColors::Entry& thread = colors.Entries()[entry];
    const Box square = {x, y - size, size * 1.2, size * 1.2};
    DrawSquare(canvas, square, entry, style);
    canvas.Frame(square, {theme.mute, 0.3});
    const double name = x + size * 1.7;
    canvas.Text(thread.name, {name, y}, Align::LEFT, size, theme.ink, Weight::BOLD);
    canvas.Text(PlacesText(thread),
                {name + TextWidth(thread.name, Weight::BOLD, size) + size * 0.6, y}, Align::LEFT,
                size, theme.mute);
  }
}

}  // namespace marrowfin
