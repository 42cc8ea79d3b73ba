#ifndef RENDER_PLOT_ARRAYANDMAPPLOT_H
#define RENDER_PLOT_ARRAYANDMAPPLOT_H

#include <memory>

#include "measure/Level.h"
#include "measure/SpaceTime.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/Axis.h"
#include "render/plot/Page.h"
#include "render/plot/SpaceTimePlot.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// Something on the array, and on the map of places and times beside it, or on a narrow page below.
// A slide has the array alone. Whoever derives from it draws on both.
class ArrayAndMapPlot : public PlotBody {
 public:
  // Of pages narrower than that, in points at the usual size of text, the map stands below.
  static constexpr double NARROW = 300;
  static constexpr double ARRAY_PART = 0.46;  // of the width, where it stands beside

  ArrayAndMapPlot(const ArrayShape& shape, Level level, std::shared_ptr<const SpaceTime> map,
                  SpaceTimeColours colours);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;

 protected:
  // Above the empty units of the array and their numbers.
  virtual void DrawOnArray(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const = 0;

  // Above what is on the map.
  virtual void DrawOnMap(Canvas& canvas, const Box& area, const PlotStyle& style) const = 0;

  // The number of a unit in the grid, and where on the map an element is at a cycle.
  size_t NumberOf(Place unit) const;
  Spot OnMap(const Box& area, Place element, uint64_t cycle) const;

  const ArrayShape& Shape() const { return shape; }
  Level GetLevel() const { return level; }

 private:
  // The parts of the page.
  struct Panels {
    Box array = {};
    Box map = {};  // without its margins; nothing of a slide
  };
  Panels PanelsOf(const Box& area, const PlotStyle& style) const;
  static PlotStyle MapStyle(const PlotStyle& style);
  void DrawArray(Canvas& canvas, const Box& area, const PlotStyle& style) const;

  ArrayShape shape;
  Level level;
  std::shared_ptr<const SpaceTime> times;
  SpaceTimePlot map;
};

}  // namespace marrowfin

#endif
