#ifndef RENDER_PLOT_HISTOGRAMPLOT_H
#define RENDER_PLOT_HISTOGRAMPLOT_H

#include <cstdint>
#include <string>
#include <vector>

#include "measure/Bars.h"
#include "render/plot/Axis.h"
#include "render/plot/Page.h"

namespace marrowfin {

// A value that is marked with a line through the bars, and what is written there.
struct HistogramMark {
  double value = 0;
  std::string text;  // "median  61"
};

// A distribution as it is drawn.
struct HistogramPanel {
  Bars bars;
  uint64_t total = 0;              // that shares are of
  std::vector<std::string> names;  // of the bars, where they are no numbers
  std::string axis;                // "latency, cycles (bars of 10)"
  std::string shares;              // "share of packets, %"
  std::vector<HistogramMark> marks;
  std::string end;  // what is told of the longest: "longest 517"
};

// How far, how long? Bars from 0, as shares of all. One distribution, or two beside each other, or
// where the page is narrow one above the other.
class HistogramPlot : public PlotBody {
 public:
  // At least one.
  explicit HistogramPlot(std::vector<HistogramPanel> panels);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;

 private:
  bool IsStacked(double width, const PlotStyle& style) const;

  std::vector<HistogramPanel> panels;
};

}  // namespace marrowfin

#endif
