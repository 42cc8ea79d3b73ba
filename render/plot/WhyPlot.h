#ifndef RENDER_PLOT_WHYPLOT_H
#define RENDER_PLOT_WHYPLOT_H

#include <memory>

#include "measure/ChainPath.h"
#include "render/plot/ArrayAndMapPlot.h"

namespace marrowfin {

// What led there? A chain of causes on the array, its moves as straight lines, the wider the more
// often it went that way, from a ring to a square; and on the map of all fires.
class WhyPlot : public ArrayAndMapPlot {
 public:
  // The path is of units of `level`.
  WhyPlot(const ArrayShape& shape, Level level, ChainPath path,
          std::shared_ptr<const SpaceTime> map, SpaceTimeColours colours);

 private:
  void DrawOnArray(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const override;
  void DrawOnMap(Canvas& canvas, const Box& area, const PlotStyle& style) const override;

  ChainPath path;
};

}  // namespace marrowfin

#endif
