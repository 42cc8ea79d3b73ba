#ifndef RENDER_PLOT_PLOTTEDRUN_H
#define RENDER_PLOT_PLOTTEDRUN_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "measure/CountPairs.h"
#include "measure/Level.h"
#include "measure/NumberTable.h"
#include "measure/PacketCounts.h"
#include "measure/RunCounts.h"
#include "measure/RunMeasures.h"
#include "render/plot/Page.h"
#include "trace/ask/Region.h"

namespace marrowfin {

// A run as plots tell of it. What it points to outlives every plot that is made of it.
struct PlottedRun {
  std::string trace;             // its name, for the caption
  bool whole = true;             // whether all of its events are in it
  std::string chosen;            // which are, where not all: for the caption
  std::optional<Region> region;  // that they were chosen by; of its elements measures are
  const RunCounts* counts = nullptr;
  const PacketCounts* packets = nullptr;  // where something tells packets
  const PairCounts* pairs = nullptr;      // where it was counted what fires consumed
  RunMeasures measures;
};

// A plot with its words, ready for DrawPage, and the numbers behind it.
struct Plot {
  PlotWords words;
  std::unique_ptr<PlotBody> body;

  // Makes them when they are asked for: of a large array they are many.
  std::function<PlotNumbers()> numbers;
};

// The caption of a plot: trace, cycles, array, and more parts; empty ones are left out.
std::string CaptionOf(const PlottedRun& run, const std::vector<std::string>& more);

// What the numbers of all plots of a run begin with.
std::vector<std::pair<std::string, NumberCell>> FactsOf(const PlottedRun& run);

// "4 × 4", and "2 × 1 clusters of 2 × 2 domains of 2 × 2 PEs".
std::string AxesText(PerAxis axis);
std::string ArrayWords(const ArrayShape& shape);

// "1,024 domains", "1 PE".
std::string UnitsText(Level level, uint64_t count);

// "PE (3, 7)", "Cluster (0, 1)": a unit by its number.
std::string UnitText(const ArrayShape& shape, Level level, size_t unit);

}  // namespace marrowfin

#endif
