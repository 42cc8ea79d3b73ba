#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "measure/CountSpaceTime.h"
#include "render/plot/SpaceTimeOfRun.h"
#include "render/plot/SpaceTimePlot.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char spacetimePlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot spacetime run.trace -o map.png\n"
    "  marrowfin-trace plot spacetime run.trace --by thread -o threads.svg\n"
    "  marrowfin-trace plot spacetime run.trace --cycles 5000:5999 --region cluster:2,0 -o "
    "part.png\n"
    "  marrowfin-trace plot spacetime run.trace --json map.json\n"
    "\n"
    "Up the page the PEs, by cluster, domain and PE, across it cycles; bars tell the share of "
    "each\n"
    "cluster. Rows and columns are as fine as the page shows: of a larger page there are more.";

const std::map<std::string, SpaceTimeEvents>& SpacetimePlotMeasures() {
  static const std::map<std::string, SpaceTimeEvents> measures = {
      {"fires", SpaceTimeEvents::FIRES},
      {"sends", SpaceTimeEvents::SENDS},
      {"receives", SpaceTimeEvents::RECEIVES}};
  return measures;
}

struct SpaceTimeFlags {
  RunPlotFlags shared;
  std::string measure = "fires";
  std::string by = "activity";
  std::optional<double> scaleMax;
};

Result<Plot> MakeMap(const SpaceTimeFlags& flags, const Console& console, RunToPlot& of) {
  const SpaceTimeSize size = SpaceTimeSizeFor(of.style);
  SpaceTimeQuestion question;
  question.shape = of.counted.question.shape;
  question.filter = of.counted.question.filter;
  question.events = SpacetimePlotMeasures().at(flags.measure);
  question.mostRows = size.rows;
  question.mostColumns = size.columns;
  question.byThread = flags.by == "thread";
  Result<SpaceTime> map =
      AskRun(flags.shared.run, console, of.counted, [&](const ProgressCallback& progress) {
        return CountSpaceTime(*of.counted.trace.file, *of.counted.trace.index, question, progress);
      });
  if (!map) {
    return map.Why();
  }
  return PlotSpaceTime(of.run, std::move(map).Take(), flags.scaleMax);
}

Action ConfigureSpacetimePlot(CLI::App& app) {
  const auto flags = std::make_shared<SpaceTimeFlags>();
  flags->shared.Declare(app, "wide");
  app.add_option("--measure", flags->measure, "What is counted")
      ->check(CLI::IsMember(NamesOf(SpacetimePlotMeasures())))
      ->capture_default_str();
  app.add_option("--by", flags->by, "What has a colour: activity, or the thread with most")
      ->check(CLI::IsMember({"activity", "thread"}))
      ->capture_default_str();
  AddScaleMax(app, flags->scaleMax);
  return [flags](const Console& console) {
    return PlotRun("spacetime", flags->shared, {.sumsSuffice = true}, console,
                   [&](RunToPlot& of) { return MakeMap(*flags, console, of); });
  };
}

}  // namespace

extern const Subcommand spacetimeKind = {"spacetime", "Who worked when: PEs up, cycles across",
                                         spacetimePlotFooter, ConfigureSpacetimePlot};

}  // namespace marrowfin
