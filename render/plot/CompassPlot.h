#ifndef RENDER_PLOT_COMPASSPLOT_H
#define RENDER_PLOT_COMPASSPLOT_H

#include <array>

#include "render/plot/LinkPlot.h"

namespace marrowfin {

// Which links fill, where there are too many nodes for lanes: a map for each way that links lead,
// on one scale. A cell has the colour of the busiest link that leaves one of its nodes that way;
// the busiest cell of each map is ringed.
class CompassPlot : public PlotBody {
 public:
  // `group` is how many nodes a cell has along each axis.
  CompassPlot(LinkMap map, PerAxis group);

  // As few nodes a cell as make cells of two pixels, out of groups that the array has: in ascending
  // order.
  static PerAxis GroupFor(const Mesh& mesh, const std::vector<PerAxis>& groups,
                          const PlotStyle& style);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;
  double LegendHeight(double width, const PlotStyle& style) const override;
  void DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const override;

 private:
  void DrawMap(Canvas& canvas, const Box& box, Heading heading, const PlotStyle& style) const;

  LinkMap map;
  PerAxis group;
  PerAxis cells;
  std::array<std::vector<double>, HEADINGS> busiest;  // of each cell
  HeatScale scale;
  ScaleBar bar;
};

}  // namespace marrowfin

#endif
