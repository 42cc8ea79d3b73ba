#ifndef RENDER_PLOT_THREADSOFRUN_H
#define RENDER_PLOT_THREADSOFRUN_H

#include "measure/CountThreads.h"
#include "render/plot/PlottedRun.h"

namespace marrowfin {

// Which thread lives where, out of what was counted of the run.
Plot PlotThreads(const PlottedRun& run, const ThreadMap& map);

}  // namespace marrowfin

#endif
