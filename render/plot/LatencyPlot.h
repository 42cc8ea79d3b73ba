#ifndef RENDER_PLOT_LATENCYPLOT_H
#define RENDER_PLOT_LATENCYPLOT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "measure/Timeline.h"
#include "render/plot/Axis.h"
#include "render/plot/Page.h"

namespace marrowfin {

// What is drawn of the latencies of a window of cycles, in cycles; nothing of too few packets.
struct LatencyPoint {
  std::optional<uint64_t> median;
  std::optional<uint64_t> most95;  // of a hundred packets 95 are within
  std::optional<uint64_t> most99;
  std::optional<uint64_t> longest;
  bool incomplete = false;  // too many packets did not arrive: all of these are too low
};

// Latencies over time.
struct LatencyCurves {
  TimeColumns windows;
  std::vector<LatencyPoint> points;  // one for each window
  std::optional<uint64_t> onset;     // of saturation, a cycle
  uint64_t early = 0;                // the 95th percentile of the start, which the onset doubles
  std::string axis;                  // "cycle of injection"
};

// When does the network saturate? The median bold, above it the 95th percentile, the 99th dashed
// and the longest dotted, with the bands between them coloured, on a logarithmic axis; windows that
// tell too little hatched, and a line at the onset.
class LatencyPlot : public PlotBody {
 public:
  explicit LatencyPlot(LatencyCurves curves);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  double LeastHeight(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;

 private:
  struct Axes;
  typedef std::optional<uint64_t> LatencyPoint::*Curve;

  Axes AxesFor(const Box& area, const PlotStyle& style) const;
  Spot SpotOf(const Axes& axes, size_t window, uint64_t latency) const;
  void DrawBand(Canvas& canvas, const Axes& axes, Curve below, Curve above, Color color) const;
  void DrawCurve(Canvas& canvas, const Axes& axes, Curve curve, const Pen& pen) const;
  void DrawIncomplete(Canvas& canvas, const Box& area, const Axes& axes,
                      const PlotStyle& style) const;
  void DrawOnset(Canvas& canvas, const Box& area, const Axes& axes, const PlotStyle& style) const;
  void DrawNames(Canvas& canvas, const Box& area, const Axes& axes, const PlotStyle& style) const;

  LatencyCurves curves;
};

}  // namespace marrowfin

#endif
