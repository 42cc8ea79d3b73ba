#ifndef RENDER_PLOT_WHYOFRUN_H
#define RENDER_PLOT_WHYOFRUN_H

#include "measure/CausalChain.h"
#include "measure/ChainPath.h"
#include "measure/CountSpaceTime.h"
#include "measure/FindCauses.h"
#include "measure/SpaceTime.h"
#include "render/plot/PlottedRun.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"

namespace marrowfin {

// A chain as plots tell of it.
struct PlottedChain {
  CausalChain chain;
  TraceEvent event;        // to which it led
  bool isEnd = false;      // whether that is the end of the run: the chain is its critical path
  uint64_t firstTime = 0;  // of the run
  uint64_t lastTime = 0;
  Level level = Level::PE;  // of which the path is
  ChainPath path;
};

// Follows the chain that led to a record, at the level that such a picture shows, or at `finest`
// where that is coarser. Faults as of FindChain.
[[nodiscard]] Result<PlottedChain> ChainToPlot(const Causes& causes, const ArrayShape& shape,
                                               uint64_t record, const PlotStyle& style,
                                               Level finest = Level::PE,
                                               const ProgressCallback& progress = {});

// The level at which an array is drawn beside such a map.
Level LevelBesideMap(const ArrayShape& shape, const PlotStyle& style);

// How fine the map of fires is that stands in it.
SpaceTimeQuestion MapOfChain(const ArrayShape& shape, const PlotStyle& style);

// What led there: a chain, on the array and on the map of fires.
Plot PlotWhy(const PlottedRun& run, const PlottedChain& chain, SpaceTime map,
             const PlotStyle& style);

}  // namespace marrowfin

#endif
