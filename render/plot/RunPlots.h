#ifndef RENDER_PLOT_RUNPLOTS_H
#define RENDER_PLOT_RUNPLOTS_H

#include <memory>
#include <optional>
#include <string>

#include "measure/Level.h"
#include "measure/PacketCounts.h"
#include "measure/RunCounts.h"
#include "measure/RunMeasures.h"
#include "render/plot/Page.h"

namespace marrowfin {

// A run as plots tell of it.
struct PlottedRun {
  std::string trace;   // its name, for the caption
  bool whole = true;   // whether all of its events are in it
  std::string chosen;  // which are, where not all: for the caption
  const RunCounts* counts = nullptr;
  RunMeasures measures;
};

// A plot with its words, ready for DrawPage.
struct Plot {
  PlotWords words;
  std::unique_ptr<PlotBody> body;
};

// What a map shows.
struct HeatWish {
  PlaceMeasure measure = PlaceMeasure::FIRES;
  bool transmissions = false;       // of the switches, in place of a measure of elements
  std::optional<Level> level = {};  // unless given, the finest that can be seen
  bool largest = false;             // of a unit the largest of its elements, not their mean
  std::optional<double> scaleMax = {};
};
Plot PlotHeat(const PlottedRun& run, const HeatWish& wish, const PlotStyle& style);

// Fires over time, by thread; or all records by type.
Plot PlotTimeline(const PlottedRun& run, bool byType);

}  // namespace marrowfin

#endif
