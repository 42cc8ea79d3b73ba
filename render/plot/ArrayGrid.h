#ifndef RENDER_PLOT_ARRAYGRID_H
#define RENDER_PLOT_ARRAYGRID_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "measure/Level.h"
#include "render/plot/Page.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// The level at which a map of an array is drawn so wide: units of at least two pixels.
Level LevelFor(const ArrayShape& shape, double points, double pixelsPerPoint);

// The units of an array as square cells, row 0 below; gaps and brackets tell the hierarchy. What
// all maps of arrays have in common.
class ArrayGrid {
 public:
  // Points left of and below the cells, for their numbers.
  static PlotBody::Margins MarginsFor(const ArrayShape& shape, Level level, const PlotStyle& style);

  // How high the cells are that are so wide.
  static double HeightFor(const ArrayShape& shape, Level level, double width,
                          const PlotStyle& style);

  // Fills an area from its lower left corner, as far as cells are square; beside the words of a
  // slide a low map stands in the middle.
  ArrayGrid(const ArrayShape& shape, Level level, const Box& area, const PlotStyle& style);

  double CellSize() const { return cell; }
  size_t Units() const { return static_cast<size_t>(columns.count) * rows.count; }

  // All cells together, and one, by its number.
  const Box& Bounds() const { return bounds; }
  Spot CentreOf(size_t unit) const;
  Box CellOf(size_t unit) const;

  // Whether cells are so large that a dot is seen in them, and that texts fit at all.
  bool ShowsDots() const;
  bool ShowsTexts() const;

  // Whether a text fits into a cell.
  bool Fits(const std::string& text, const PlotStyle& style) const;

  void DrawFrame(Canvas& canvas, const PlotStyle& style) const;

  // What stands for nothing at all.
  void DrawDot(Canvas& canvas, size_t unit, const PlotStyle& style) const;

  // A text in the middle of a cell of that colour.
  void DrawText(Canvas& canvas, size_t unit, const std::string& text, Color background, bool bold,
                const PlotStyle& style) const;

  // Rings around units, with a text beside each; one that would lie on another is left out. The
  // most important first.
  struct Ringed {
    size_t unit;
    std::string text;
  };
  void DrawRings(Canvas& canvas, const std::vector<Ringed>& ringed, const PlotStyle& style) const;

  // The numbers of columns and rows, brackets for clusters, and the names of both axes.
  void DrawNumbers(Canvas& canvas, const PlotStyle& style) const;

  // How many are ringed where texts do not fit.
  static constexpr size_t RINGS = 5;

 private:
  // The units along one axis, in groups.
  struct Axis {
    uint32_t count = 1;
    uint32_t perDomain = 0;  // units; 0 where domains are not parted
    uint32_t perCluster = 0;

    uint32_t Clusters() const { return perCluster == 0 ? 0 : (count - 1) / perCluster; }
    uint32_t Domains() const { return perDomain == 0 ? 0 : (count - 1) / perDomain - Clusters(); }
  };

  static Axis AxisOf(const ArrayShape& shape, Level level, bool ofColumns);
  static double LengthOf(const Axis& units, double cell, double pixel);
  static double CellFor(const Axis& units, double length, double pixel);
  static double StartOf(const Axis& units, uint32_t unit, double cell, double pixel);
  friend Level LevelFor(const ArrayShape& shape, double points, double pixelsPerPoint);

  double Left(uint32_t column) const;
  double Top(uint32_t row) const;
  double DrawColumnBrackets(Canvas& canvas, double below, const PlotStyle& style) const;
  double DrawRowBrackets(Canvas& canvas, double left, const PlotStyle& style) const;

  Level level;
  double pixel;
  Axis columns;
  Axis rows;
  double cell;
  Box bounds = {};
};

}  // namespace marrowfin

#endif
