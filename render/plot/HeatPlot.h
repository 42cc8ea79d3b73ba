#ifndef RENDER_PLOT_HEATPLOT_H
#define RENDER_PLOT_HEATPLOT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "measure/Level.h"
#include "render/plot/Page.h"
#include "render/plot/ScaleBar.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// A value for each unit of an array.
struct HeatMap {
  ArrayShape shape;
  Level level = Level::PE;
  std::vector<double> values;      // of each unit, row by row; none below 0
  bool whole = false;              // whether they are counts
  std::string unit;                // of the scale: "fires per PE"
  std::optional<double> scaleMax;  // the end of the scale; what is above takes the last colour
  std::string zero = "never";      // what units with exactly zero are called beside the scale
  // The numbers of the units that were asked for, ascending; unless given all. Nothing is shown or
  // said of others.
  std::optional<std::vector<size_t>> units = {};
};

// The numbers of the units that were asked for, and their values.
std::vector<size_t> AskedUnits(const HeatMap& map);
std::vector<double> AskedValues(const HeatMap& map);

HeatScale ScaleOf(const HeatMap& map);

class ArrayGrid;

// Where is work? A cell for each unit, row 0 below; gaps and brackets tell the hierarchy. Exactly
// zero has the colour of the paper. Values are written where all fit, else the five largest are
// ringed.
class HeatPlot : public PlotBody {
 public:
  explicit HeatPlot(HeatMap map);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;
  double LegendHeight(double width, const PlotStyle& style) const override;
  void DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const override;

 private:
  std::string ValueText(double value) const;
  Color ColorOf(double value, const PlotStyle& style) const;
  void DrawCells(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const;
  void DrawValues(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const;
  void DrawRings(Canvas& canvas, const ArrayGrid& grid, const PlotStyle& style) const;

  HeatMap map;
  std::vector<size_t> units;  // that are shown
  HeatScale scale;
  ScaleBar bar;
};

}  // namespace marrowfin

#endif
