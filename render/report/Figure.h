#ifndef RENDER_REPORT_FIGURE_H
#define RENDER_REPORT_FIGURE_H

#include <string>

#include "render/plot/Page.h"
#include "render/plot/PlottedRun.h"
#include "trace/base/Result.h"

namespace marrowfin {

// A plot in a page: its words as text of the page, so that they can be read aloud, searched for and
// enlarged, the plot itself as SVG between them. `name` tells its elements from those of others:
// letters, digits and hyphens, once in a page. Of the style theme, width and height count; a height
// in which the plot has no room, as where its legend has many lines, is that which it wants.
// SYSTEM where the plot cannot be drawn.
[[nodiscard]] Result<std::string> FigureHtml(const Plot& plot, PlotStyle style,
                                             const std::string& name);

}  // namespace marrowfin

#endif
