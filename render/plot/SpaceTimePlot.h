#ifndef RENDER_PLOT_SPACETIMEPLOT_H
#define RENDER_PLOT_SPACETIMEPLOT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "measure/SpaceTime.h"
#include "render/plot/Axis.h"
#include "render/plot/Page.h"
#include "render/plot/ScaleBar.h"

namespace marrowfin {

// How a map of places and times is coloured.
struct SpaceTimeColours {
  HeatScale scale;                   // of rates, where it is not by thread
  std::string unit;                  // "fires per PE per cycle"
  std::vector<std::string> threads;  // names of the slots, where it is by thread
};

// The rates of the cells that have any; those are what a scale is of.
std::vector<double> RatesOf(const SpaceTime& map);

// The scale of a map: to the 99.5th percentile of its rates, rounded up.
HeatScale SpaceTimeScaleOf(std::span<const double> rates, std::optional<double> end = {});

// Rows and columns that suit a page: each at least two pixels.
struct SpaceTimeSize {
  size_t rows = 1;
  size_t columns = 1;
};
SpaceTimeSize SpaceTimeSizeFor(const PlotStyle& style);

// Who worked when? Elements up the page, by cluster, domain and element, cycles across; bars tell
// the share of each cluster, or of each domain or row of an array that is not parted so. By thread
// a cell has the colour of the thread with most events, mixed with paper by the share of the
// others.
class SpaceTimePlot : public PlotBody {
 public:
  SpaceTimePlot(std::shared_ptr<const SpaceTime> map, SpaceTimeColours colours);

  Margins GetMargins(const PlotStyle& style) const override;
  double HeightFor(double width, const PlotStyle& style) const override;
  double LeastHeight(double width, const PlotStyle& style) const override;
  void Draw(Canvas& canvas, const Box& area, const PlotStyle& style) const override;
  double LegendHeight(double width, const PlotStyle& style) const override;
  void DrawLegend(Canvas& canvas, const Box& box, const PlotStyle& style) const override;

 private:
  // What bars and numbers along the elements are of.
  struct Units {
    std::string name;     // "cluster (column, row)"; empty where there is none to tell
    size_t rows = 1;      // of the map, a unit
    size_t count = 0;     // of units
    size_t together = 1;  // units in a row of the array, or a part of it: rules stand between those
    bool places = false;  // told as column and row, else as a number

    std::string Label(size_t unit) const;
  };
  static Units UnitsOf(const HierarchyRows& rows);

  bool HasBars(const PlotStyle& style) const;
  double BarsWidth(const PlotStyle& style) const;
  double LegendWidth(const PlotStyle& style) const;
  size_t MostAt(size_t row, size_t column) const;
  Color ColourAt(size_t row, size_t column, const Theme& theme) const;
  void DrawCells(Canvas& canvas, const Box& area, const PlotStyle& style) const;
  void DrawHatching(Canvas& canvas, const Box& area, const PlotStyle& style) const;
  void DrawUnits(Canvas& canvas, const Box& area, const PlotStyle& style) const;
  void DrawBars(Canvas& canvas, const Box& area, const PlotStyle& style) const;
  void DrawThreads(Canvas& canvas, Spot bottom, const PlotStyle& style) const;
  size_t LinesOfLegend(const PlotStyle& style) const;
  ScaleBar Bar() const;

  std::shared_ptr<const SpaceTime> shared;
  const SpaceTime& map;
  SpaceTimeColours colours;
  Units units;
  std::vector<double> rates;
  std::vector<uint64_t> ofUnits;
  std::vector<uint64_t> ofThreads;
  std::vector<size_t> told;  // slots that have any event
};

}  // namespace marrowfin

#endif
