#ifndef RENDER_PLOT_WHYOFRUN_H
#define RENDER_PLOT_WHYOFRUN_H

#include "measure/CausalChain.h"
#include "measure/ChainPath.h"
#include "measure/SpaceTime.h"
#include "render/plot/PlottedRun.h"

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

// What led there: a chain, on the array and on the map of fires.
Plot PlotWhy(const PlottedRun& run, const PlottedChain& chain, SpaceTime map,
             const PlotStyle& style);

}  // namespace marrowfin

#endif
