#ifndef RENDER_PLOT_DIFFPLOT_H
#define RENDER_PLOT_DIFFPLOT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "measure/Level.h"
#include "render/plot/Page.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// A scale of changes: symmetric about 0, in Theme::STEPS equal steps from `-end` to `end`.
struct DiffScale {
  double end = 1;
  size_t beyond = 0;  // changes farther from 0, which take the first or last colour
  int decimals = 0;   // of every label: as many as give the largest three digits

  size_t StepOf(double change) const;

  // "+0.12", "−106".
  std::string Text(double change) const;
};

// It ends at the largest change; where that is more than one and a half times the 99th percentile
// of those that are not 0, at that. What is not there has no change.
DiffScale DiffScaleOf(const std::vector<std::optional<double>>& changes);

// A map of changes.
struct DiffPanel {
  std::string heading;                         // above it, where there are several
  std::string unit;                            // of the scale
  std::vector<std::optional<double>> changes;  // of each unit, row by row
};

// What changed where? A cell for each unit, its colour the change: browns up, blues down, each
// label with its sign. Exactly none has the colour of the paper, and so has what cannot be
// compared, which is crossed out.
//
// Both ends of the scale are as dark, so what decreased is hatched in the theme for print; where
// cells are too small for that, increases and decreases are maps of their own.
class DiffPlot : public PlotBody {
 public:
  DiffPlot(const ArrayShape& shape, Level level, std::vector<DiffPanel> panels);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  double LeastHeight(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;

  // A slide has the first map alone, as large as it can be, and the scale beside it.
  double LegendHeight(double width, const PlotStyle& style) const override;
  void DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const override;

 private:
  // Which changes a map shows.
  enum class Sign { BOTH, UP, DOWN };

  // A map of the plot.
  struct Map {
    const DiffPanel* panel;
    DiffScale scale;
    Sign sign;
    std::string heading;
  };

  std::vector<Map> MapsFor(double width, const PlotStyle& style) const;
  bool AreHatched(const PlotStyle& style) const;
  // Of all maps, each so high.
  double HeightOf(double each, double width, const PlotStyle& style) const;
  double HeadingHeight(const PlotStyle& style) const;
  double BelowHeight(const PlotStyle& style) const;
  void DrawMap(Canvas& canvas, const Map& map, const Box& area, const PlotStyle& style) const;

  ArrayShape shape;
  Level level;
  std::vector<DiffPanel> panels;
};

}  // namespace marrowfin

#endif
