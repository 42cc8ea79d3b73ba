#ifndef RENDER_PLOT_WHYPLOT_H
#define RENDER_PLOT_WHYPLOT_H

#include <memory>

#include "measure/ChainPath.h"
#include "measure/Level.h"
#include "measure/SpaceTime.h"
#include "render/plot/Page.h"
#include "render/plot/SpaceTimePlot.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// What led there? A chain of causes on the array, its moves as straight lines, the wider the more
// often it went that way, from a ring to a square; and on the map of places and times beside it, or
// on a narrow page below. A slide has the array alone.
class WhyPlot : public PlotBody {
 public:
  // The path is of units of `level`.
  WhyPlot(const ArrayShape& shape, Level level, ChainPath path,
          std::shared_ptr<const SpaceTime> map, SpaceTimeColours colours);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;

 private:
  // The parts of the page.
  struct Panels {
    Box array = {};
    Box map = {};  // without its margins; nothing of a slide
  };
  Panels PanelsOf(const Box& area, const PlotStyle& style) const;
  static PlotStyle MapStyle(const PlotStyle& style);
  void DrawArray(Canvas& canvas, const Box& area, const PlotStyle& style) const;
  void DrawMap(Canvas& canvas, const Box& area, const PlotStyle& style) const;

  ArrayShape shape;
  Level level;
  ChainPath path;
  std::shared_ptr<const SpaceTime> times;
  SpaceTimePlot map;
};

}  // namespace marrowfin

#endif
