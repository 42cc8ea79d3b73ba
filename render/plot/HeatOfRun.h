#ifndef RENDER_PLOT_HEATOFRUN_H
#define RENDER_PLOT_HEATOFRUN_H

#include <optional>

#include "render/plot/PlottedRun.h"

namespace marrowfin {

// What a map shows.
struct HeatWish {
  PlaceMeasure measure = PlaceMeasure::FIRES;
  bool transmissions = false;       // of the switches, in place of a measure of elements
  std::optional<Level> level = {};  // unless given, the finest that can be seen
  bool largest = false;             // of a unit the largest of its elements, not their mean
  std::optional<double> scaleMax = {};
};

// Where a run is busy.
Plot PlotHeat(const PlottedRun& run, const HeatWish& wish, const PlotStyle& style);

}  // namespace marrowfin

#endif
