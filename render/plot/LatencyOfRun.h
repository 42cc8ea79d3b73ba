#ifndef RENDER_PLOT_LATENCYOFRUN_H
#define RENDER_PLOT_LATENCYOFRUN_H

#include "render/plot/PlottedRun.h"

namespace marrowfin {

// Where the time of a packet begins: when it enters the network, or where that is told when it was
// created, which has the time in the queue of its source in it.
enum class LatencySince { INJECTION, CREATION };

// When a network saturates: the latencies of the packets of a run over time, which must have been
// followed.
Plot PlotLatency(const PlottedRun& run, LatencySince since);

}  // namespace marrowfin

#endif
