#ifndef TOOLS_PROGRAM_RUNPLOT_H
#define TOOLS_PROGRAM_RUNPLOT_H

#include <functional>
#include <string>

#include "render/plot/PlottedRun.h"
#include "tools/program/PlotOutput.h"
#include "tools/program/RunInput.h"

namespace marrowfin {

// What the kinds of plot have in common that are made of one run: a kind declares these flags and
// its own, and says how the plot is made of what was counted.

struct RunPlotFlags {
  RunFlags run;
  PlotFlags plot;

  void Declare(CLI::App& app, const std::string& usualSize);
};

// A run that was counted for a plot.
struct RunToPlot {
  CountedRun counted;
  PlottedRun run;
  PlotStyle style;
};

// The run as plots tell of it; it points to what was counted.
PlottedRun PlottedRunOf(const RunFlags& flags, const CountedRun& counted);

// What a kind needs besides the counts of the run, or that sums by place are all that it needs.
struct RunPlotNeeds {
  bool packets = false;
  bool sumsSuffice = false;   // see RunQuestion
  bool elementLinks = false;  // likewise

  // Likewise, see RunQuestion.
  bool timelineSuffices = false;
  bool timelineByThread = true;
};

// Makes the plot; what it refers to of the run lives until it is written. May read the trace.
using MakePlot = std::function<Result<Plot>(RunToPlot&)>;

// Counts, makes the plot and writes it. A break of the trace is told behind that.
MaybeFailure PlotRun(const std::string& kind, const RunPlotFlags& flags, const RunPlotNeeds& needs,
                     const Console& console, const MakePlot& make);

}  // namespace marrowfin

#endif
