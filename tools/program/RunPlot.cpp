#include "tools/program/RunPlot.h"

#include <filesystem>

#include "tools/program/Output.h"

namespace marrowfin {
namespace {

MaybeFailure Check(const RunPlotFlags& flags) {
  if (MaybeFailure failure = flags.plot.Check({flags.run.trace})) {
    return failure;
  }
  return flags.run.Check();
}

}  // namespace

PlottedRun PlottedRunOf(const RunFlags& flags, const CountedRun& counted) {
  PlottedRun run;
  run.trace = flags.trace == STANDARD_STREAM
                  ? "standard input"
                  : std::filesystem::path(flags.trace).filename().string();
  run.whole = flags.AskForAll();
  run.chosen = flags.Chosen();
  run.counts = &*counted.counts;
  run.packets = counted.packets ? &*counted.packets : nullptr;
  run.pairs = counted.pairs ? &*counted.pairs : nullptr;
  run.region = counted.question.filter.region;
  run.measures = MeasuresOf(*counted.counts, NetworkOf(counted.companion->GetAbout()), run.region);
  return run;
}

void RunPlotFlags::Declare(CLI::App& app, const std::string& usualSize) {
  run.Declare(app);
  plot.Declare(app, usualSize);
}

MaybeFailure PlotRun(const std::string& kind, const RunPlotFlags& flags, const RunPlotNeeds& needs,
                     const Console& console, const MakePlot& make) {
  if (MaybeFailure failure = Check(flags)) {
    return failure;
  }
  RunToPlot run;
  run.counted.question.sumsSuffice = needs.sumsSuffice;
  run.counted.question.elementLinks = needs.elementLinks;
  run.counted.question.timelineSuffices = needs.timelineSuffices;
  run.counted.question.timelineByThread = needs.timelineByThread;
  if (MaybeFailure failure = CountRunOf(flags.run, needs.packets, console, run.counted)) {
    return failure;
  }
  run.run = PlottedRunOf(flags.run, run.counted);
  run.style = flags.plot.Style();
  const Result<Plot> plot = make(run);
  if (!plot) {
    return IndexingFailureOf(plot.Why(), flags.run.trace);
  }
  if (MaybeFailure failure = WritePlot(flags.plot, kind, *plot, console)) {
    return failure;
  }
  return CheckWhole(flags.run, run.counted);
}

}  // namespace marrowfin
