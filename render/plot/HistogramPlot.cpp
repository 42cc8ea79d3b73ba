#include "render/plot/HistogramPlot.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

constexpr double BESIDE = 46;      // points between two distributions
constexpr double LEAST_WIDE = 90;  // points of one of two beside each other
constexpr double HIGH = 100;       // points of one that stands above another
constexpr double BAR = 0.78;       // of its room, where it is a single number
constexpr double SEAM = 0.35;      // points between bars that touch

double Below(const PlotStyle& style) {
  return 5 + style.LabelSize() * 1.2 + style.AxisSize() * 1.8;
}

// A distribution in its place.
class Panel {
 public:
  Panel(const HistogramPanel& of, const Box& area, const PlotStyle& style)
      : of(of),
        style(style),
        theme(*style.theme),
        size(style.LabelSize()),
        area(area),
        x{of.bars.first, of.bars.counts.empty() ? of.bars.first + 1 : of.bars.End(), area.x,
          area.Right()},
        y{0, Highest() > 0 ? Highest() * 1.02 : 1, area.Bottom(), area.y} {
    PlaceMarks();
    // What is written above the bars takes room from them.
    const double above = size * (1.4 + 1.3 * static_cast<double>(levels));
    y.to = area.y + std::min(above, area.height / 2);
  }

  void Draw(Canvas& canvas) const {
    const Box below = {area.x, y.to, area.width, area.Bottom() - y.to};
    DrawVerticalAxis(canvas, below, y, LinearTicks(0, y.high, 4), of.shares, style);
    DrawBars(canvas);
    DrawEnd(canvas);
    DrawMarks(canvas);
    if (!of.names.empty() || of.bars.single) {
      DrawHorizontalAxis(canvas, area, x, {}, of.axis, style);
      DrawNames(canvas);
    } else {
      const double room =
          2.5 * size + TextWidth(CountText(static_cast<uint64_t>(std::min(std::abs(x.high), 1e15))),
                                 Weight::REGULAR, size);
      const size_t ticks = static_cast<size_t>(std::max(2.0, area.width / room));
      DrawHorizontalAxis(canvas, area, x, LinearTicks(x.low, x.high, ticks), of.axis, style);
    }
  }

 private:
  double ShareOf(size_t bar) const {
    return of.total == 0
               ? 0
               : 100 * static_cast<double>(of.bars.counts[bar]) / static_cast<double>(of.total);
  }

  double Highest() const {
    double highest = 0;
    for (size_t i = 0; i < of.bars.counts.size(); ++i) {
      highest = std::max(highest, ShareOf(i));
    }
    return highest;
  }

  bool IsParted() const { return of.bars.single || !of.names.empty(); }

  Box BarAt(size_t i) const {
    const double left = x.At(of.bars.first + static_cast<double>(i) * of.bars.width);
    const double right = x.At(of.bars.first + static_cast<double>(i + 1) * of.bars.width);
    const double gap = IsParted() ? (right - left) * (1 - BAR) : std::min(SEAM, (right - left) / 4);
    const double top = y.At(ShareOf(i));
    return {left + gap / 2, top, right - left - gap, area.Bottom() - top};
  }

  void DrawBars(Canvas& canvas) const {
    size_t highest = 0;
    for (size_t i = 0; i < of.bars.counts.size(); ++i) {
      if (of.bars.counts[i] > 0) {
        Box bar = BarAt(i);
        // What is there is seen, if as a line.
        bar.height = std::max(bar.height, canvas.Pixel());
        bar.y = area.Bottom() - bar.height;
        canvas.Fill(bar, theme.categories[0]);
      }
      highest = of.bars.counts[i] > of.bars.counts[highest] ? i : highest;
    }
    if (IsParted() && of.marks.empty() && Highest() > 0) {
      const Box bar = BarAt(highest);
      canvas.Text(PercentText(ShareOf(highest) / 100), {bar.x + bar.width / 2, bar.y - size * 0.4},
                  Align::CENTRE, size, theme.ink, Weight::BOLD);
    }
  }

  // A single number stands in the middle of its bar.
  double MarkAt(const HistogramMark& mark) const {
    return x.At(mark.value + (of.bars.single ? 0.5 : 0));
  }

  bool IsSeen(const HistogramMark& mark) const {
    return mark.value >= x.low && mark.value <= x.high;
  }

  // Texts stand right of their lines, or left where the page ends; one that would meet another
  // stands a line lower.
  void PlaceMarks() {
    std::vector<double> ends;  // of the last text of each line
    for (const HistogramMark& mark : of.marks) {
      const double width = TextWidth(mark.text, Weight::BOLD, size) + 5;
      const double at = MarkAt(mark);
      const bool left = at + width > area.Right() + size && at - width > area.x;
      const double from = left ? at - width : at;
      size_t level = 0;
      while (level < ends.size() && ends[level] > from) {
        ++level;
      }
      if (level == ends.size()) {
        ends.push_back(0);
      }
      ends[level] = from + width;
      places.push_back({level, left});
    }
    levels = ends.size();
  }

  double BaseOf(size_t mark) const {
    return area.y + size * (1.1 + 1.3 * static_cast<double>(places[mark].level));
  }

  // The texts above all lines, of which some pass by.
  void DrawMarks(Canvas& canvas) const {
    for (size_t i = 0; i < of.marks.size(); ++i) {
      if (IsSeen(of.marks[i])) {
        canvas.Vertical(MarkAt(of.marks[i]), BaseOf(i) - size, area.Bottom(),
                        {theme.ink, 0.7, {2, 1.5}});
      }
    }
    for (size_t i = 0; i < of.marks.size(); ++i) {
      const HistogramMark& mark = of.marks[i];
      if (IsSeen(mark)) {
        const double width = TextWidth(mark.text, Weight::BOLD, size);
        const double left = MarkAt(mark) + (places[i].left ? -2.5 - width : 2.5);
        canvas.Fill({left - 0.5, BaseOf(i) - size, width + 1, size * 1.25}, theme.paper);
        canvas.Text(mark.text, {left, BaseOf(i)}, Align::LEFT, size, theme.ink, Weight::BOLD);
      }
    }
  }

  // Where the bars leave room for it: above the highest of the last ones.
  void DrawEnd(Canvas& canvas) const {
    if (of.end.empty()) {
      return;
    }
    const double left = area.Right() - 2 - TextWidth(of.end, Weight::REGULAR, size);
    double top = area.Bottom();
    for (size_t i = 0; i < of.bars.counts.size(); ++i) {
      const Box bar = BarAt(i);
      top = bar.Right() > left ? std::min(top, bar.y) : top;
    }
    const double base = std::max(top - size * 0.8, y.to + size * 1.3);
    canvas.Fill({left - 1, base - size, area.Right() - left, size * 1.3}, theme.paper);
    canvas.Text(of.end, {left, base}, Align::LEFT, size, theme.mute);
  }

  std::string NameOf(size_t bar) const {
    return of.names.empty()
               ? CountText(static_cast<uint64_t>(of.bars.first) + static_cast<uint64_t>(bar))
               : of.names[bar];
  }

  // Below each bar, or so many of them as have room.
  void DrawNames(Canvas& canvas) const {
    double widest = 0;
    for (size_t i = 0; i < of.bars.counts.size(); ++i) {
      widest = std::max(widest, TextWidth(NameOf(i), Weight::REGULAR, size));
    }
    const double room =
        area.width / std::max<double>(1, static_cast<double>(of.bars.counts.size()));
    const size_t every =
        static_cast<size_t>(std::max(1.0, std::ceil((widest + size * 0.5) / room)));
    for (size_t i = 0; i < of.bars.counts.size(); i += every) {
      const Box bar = BarAt(i);
      canvas.Text(NameOf(i), {bar.x + bar.width / 2, area.Bottom() + 3 + size}, Align::CENTRE, size,
                  theme.mute);
    }
  }

  struct MarkPlace {
    size_t level;
    bool left;
  };

  const HistogramPanel& of;
  const PlotStyle& style;
  const Theme& theme;
  double size;
  Box area = {};
  Scale x;
  Scale y;
  std::vector<MarkPlace> places;
  size_t levels = 0;
};

}  // namespace

HistogramPlot::HistogramPlot(std::vector<HistogramPanel> distributions)
    : panels(std::move(distributions)) {}

bool HistogramPlot::IsStacked(double width, const PlotStyle& style) const {
  const double gap = BESIDE * style.text;
  const double count = static_cast<double>(panels.size());
  return panels.size() > 1 && (width - gap * (count - 1)) / count < LEAST_WIDE * style.text;
}

PlotBody::Margins HistogramPlot::GetMargins(const PlotStyle& style) const {
  return {30 * style.text, 10, Below(style)};
}

double HistogramPlot::HeightFor(double width, const PlotStyle& style) const {
  if (IsStacked(width, style)) {
    const double count = static_cast<double>(panels.size());
    return count * HIGH * style.text + (count - 1) * (Below(style) + style.LabelSize());
  }
  return std::max(std::min(width * 0.4, 110 * style.text), 80 * style.text);
}

void HistogramPlot::Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const {
  const double count = static_cast<double>(panels.size());
  const bool stacked = IsStacked(area.width, style);
  const double gap = stacked ? Below(style) + style.LabelSize() : BESIDE * style.text;
  const double room = (stacked ? area.height : area.width) - gap * (count - 1);
  // One of single numbers needs less width than one of many.
  const bool narrow = panels.size() == 2 && panels[0].bars.single && !panels[1].bars.single;
  double at = stacked ? area.y : area.x;
  for (size_t i = 0; i < panels.size(); ++i) {
    const double share = !stacked && narrow ? (i == 0 ? 0.42 : 0.58) : 1 / count;
    const double length = room * share;
    const Box box =
        stacked ? Box{area.x, at, area.width, length} : Box{at, area.y, length, area.height};
    Panel(panels[i], box, style).Draw(canvas);
    at += length + gap;
  }
}

}  // namespace marrowfin
