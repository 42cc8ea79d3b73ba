#ifndef RENDER_PLOT_CONEPLOT_H
#define RENDER_PLOT_CONEPLOT_H

#include <memory>
#include <optional>
#include <vector>

#include "render/plot/ArrayAndMapPlot.h"
#include "render/plot/ScaleBar.h"

namespace marrowfin {

// All that led there, or that followed from there: how many fires of it each unit has, or where
// there is no room for numbers, the largest of them, ringed; and its fires on the map. A square, or
// the frame around a cell, is the event itself.
class ConePlot : public ArrayAndMapPlot {
 public:
  // `fires` are those of each unit of `level`, row by row; `map` has those of the cone alone. The
  // event is at an element, unless that lies outside the array.
  ConePlot(const ArrayShape& shape, Level level, std::vector<double> fires,
           std::optional<Place> event, uint64_t cycle, std::shared_ptr<const SpaceTime> map,
           SpaceTimeColours colours);

 private:
  void DrawOnArray(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const override;
  void DrawOnMap(Canvas& canvas, const Box& area, const PlotStyle& style) const override;

  void DrawValues(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const;
  void DrawRings(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const;
  std::optional<size_t> EventUnit() const;

  std::vector<double> fires;
  HeatScale scale;
  std::optional<Place> event;
  uint64_t cycle;
};

}  // namespace marrowfin

#endif
