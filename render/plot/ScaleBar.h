#ifndef RENDER_PLOT_SCALEBAR_H
#define RENDER_PLOT_SCALEBAR_H

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "render/plot/Page.h"

namespace marrowfin {

// The scale of colours of a plot: from 0, in Theme::STEPS equal steps. It ends at the largest
// value; where that is more than one and a half times the 99th percentile of those above 0, at
// that.
struct HeatScale {
  double end = 1;
  size_t above = 0;  // values beyond the end, which take the last colour
  bool clipped = false;
  bool wider = false;  // it ends beyond the largest value

  size_t StepOf(double value) const;
};

// `end` is where the scale is to end, if not by that rule.
HeatScale ScaleOf(std::span<const double> values, std::optional<double> end = {});

// What a caption says of the end of a scale; `above` are the values beyond it in words: "3 PEs".
std::string ClippingText(const HeatScale& scale, const std::string& above);

// What explains the colours: the steps with their numbers, how many values are on each of them, and
// how many have no colour.
class ScaleBar {
 public:
  // `title` is the unit, "fires per PE"; `thing` is what has a value: "PE", of which zeros are told
  // as `zero`.
  ScaleBar(std::span<const double> values, const HeatScale& scale, std::string title,
           std::string thing, std::string zero = "never");

  // Points that it takes, right of a plot.
  static double StandingWidth(const PlotStyle& style) { return 52 * style.text; }

  // Likewise where it stands at the edge of a page, to which its title leaves the usual margin.
  static double WidthAtEdge(const PlotStyle& style) { return 6 + TITLE * style.text + 8; }

  // Upright, right of `area` and from its bottom up.
  void DrawStanding(Canvas& canvas, const Box& area, const PlotStyle& style) const;

  // Along the top of a box of that height.
  double LyingHeight(const PlotStyle& style) const;
  void DrawLying(Canvas& canvas, const Box& box, const PlotStyle& style) const;

 private:
  static constexpr double TITLE = 44;  // points that a line of the title may take

  void DrawNever(Canvas& canvas, Spot spot, const PlotStyle& style) const;

  HeatScale scale;
  std::string title;
  std::string thing;
  std::string zero;
  std::vector<size_t> counts;  // values on each step
  size_t most = 1;             // of those
  size_t never = 0;
};

}  // namespace marrowfin

#endif
