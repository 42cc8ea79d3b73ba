#ifndef RENDER_PLOT_SPACETIMEOFRUN_H
#define RENDER_PLOT_SPACETIMEOFRUN_H

#include <optional>

#include "measure/SpaceTime.h"
#include "render/plot/PlottedRun.h"

namespace marrowfin {

// Who worked when: the map of a run, by thread where it tells threads apart. `scaleMax` is the end
// of the scale in events by element and cycle, unless it is to fit the map.
Plot PlotSpaceTime(const PlottedRun& run, SpaceTime map, std::optional<double> scaleMax = {});

}  // namespace marrowfin

#endif
