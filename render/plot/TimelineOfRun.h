#ifndef RENDER_PLOT_TIMELINEOFRUN_H
#define RENDER_PLOT_TIMELINEOFRUN_H

#include "render/plot/PlottedRun.h"

namespace marrowfin {

// When a run is busy: fires over time, by thread; or all records by type.
Plot PlotTimeline(const PlottedRun& run, bool byType);

}  // namespace marrowfin

#endif
