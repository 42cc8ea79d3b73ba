#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "render/plot/TimelineOfRun.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char timelinePlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot timeline run.trace -o when.png\n"
    "  marrowfin-trace plot timeline run.trace --cycles 5000:9999 --theme dark -o when.pdf\n"
    "  marrowfin-trace plot timeline run.trace --by type --json when.json\n"
    "\n"
    "Events a cycle, stacked; dashed lines are borders of phases, the bar in each is its mean.\n"
    "marrowfin-trace plot --help tells the exit status.";

struct TimelineFlags {
  RunPlotFlags shared;
  std::string by = "thread";
};

Action ConfigureTimelinePlot(CLI::App& app) {
  const auto flags = std::make_shared<TimelineFlags>();
  flags->shared.Declare(app, "wide");
  flags->shared.run.DeclareNotes(app);
  app.add_option("--by", flags->by, "What is stacked: thread or type")
      ->check(CLI::IsMember({"thread", "type"}))
      ->capture_default_str();
  return [flags](const Console& console) {
    const bool byType = flags->by == "type";
    RunPlotNeeds needs;
    needs.timelineSuffices = true;
    needs.timelineByThread = !byType;
    return PlotRun("timeline", flags->shared, needs, console,
                   [&](RunToPlot& of) -> Result<Plot> { return PlotTimeline(of.run, byType); });
  };
}

}  // namespace

extern const Subcommand timelineKind = {"timeline", "When a run is busy, with its phases",
                                        timelinePlotFooter, ConfigureTimelinePlot};

}  // namespace marrowfin
