#ifndef RENDER_PLOT_LINKSOFRUN_H
#define RENDER_PLOT_LINKSOFRUN_H

#include <optional>

#include "render/plot/PlottedRun.h"

namespace marrowfin {

// Which links a plot shows.
struct LinksWish {
  std::optional<Level> level = {};  // PE or CLUSTER; unless given, as LinkMeasures says
  std::optional<double> scaleMax = {};
};

// Which links fill: lanes, or where there are more than LinkPlot::MOST_NODES along an axis, four
// maps. Between elements of several clusters it shows what the counts have of that (RunShape).
Plot PlotLinks(const PlottedRun& run, const LinksWish& wish, const PlotStyle& style);

}  // namespace marrowfin

#endif
