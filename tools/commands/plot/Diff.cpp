#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "render/plot/DiffOfRuns.h"
#include "tools/program/DiffInput.h"
#include "tools/program/PlotOutput.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char diffPlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot diff new.trace old.trace -o diff.png\n"
    "  marrowfin-trace plot diff new.trace old.trace --measure utilisation --level cluster -o "
    "d.svg\n"
    "  marrowfin-trace plot diff new.trace old.trace --theme print --csv diff.csv -o diff.pdf\n"
    "\n"
    "Where A does more than B (brown), and where less (blue), by cycle of each run's own length. "
    "Where\n"
    "the means differ by over a quarter, a second map tells what each unit does beside its own "
    "mean.\n"
    "marrowfin-trace diff tells whether runs are the same. marrowfin-trace plot --help tells the "
    "exit\n"
    "status.";

const std::map<std::string, Level>& DiffPlotLevels() {
  static const std::map<std::string, Level> levels = {
      {"pe", Level::PE}, {"domain", Level::DOMAIN}, {"cluster", Level::CLUSTER}};
  return levels;
}

const std::map<std::string, UnitMeasure>& DiffPlotMeasures() {
  static const std::map<std::string, UnitMeasure> measures = [] {
    std::map<std::string, UnitMeasure> named;
    for (const UnitMeasure measure : UNIT_MEASURES) {
      named.emplace(UnitMeasureName(measure), measure);
    }
    return named;
  }();
  return measures;
}

struct DiffPlotFlags {
  DiffFlags diff;
  PlotFlags plot;
  std::string measure = "fires";
  std::optional<std::string> level;

  DiffWish Wish() const {
    DiffWish wish = {DiffPlotMeasures().at(measure)};
    if (level) {
      wish.level = DiffPlotLevels().at(*level);
    }
    return wish;
  }
};

MaybeFailure PlotDifference(const DiffPlotFlags& flags, const Console& console) {
  if (MaybeFailure failure = flags.plot.Check({flags.diff.run.trace, flags.diff.other})) {
    return failure;
  }
  if (MaybeFailure failure = flags.diff.run.Check()) {
    return failure;
  }
  DiffedRuns runs;
  if (MaybeFailure failure = OpenDiffed(flags.diff, console, runs)) {
    return failure;
  }
  if (MaybeFailure failure = CountDiffed(flags.diff, false, console, runs)) {
    return failure;
  }
  const RunFlags other = flags.diff.OfOther();
  const PlottedRun a = PlottedRunOf(flags.diff.run, runs.a);
  const PlottedRun b = PlottedRunOf(other, runs.b);
  if (flags.Wish().measure == UnitMeasure::SWITCH_LOAD &&
      !(a.measures.switchLoads && b.measures.switchLoads)) {
    return Failure{EXIT_INPUT, "nothing tells what the switches of both runs can pass on",
                   "Record the runs with companions that do ([switches]), or show transmissions."};
  }
  const Plot plot = PlotDiff(a, b, flags.Wish(), flags.plot.Style());
  if (MaybeFailure failure = WritePlot(flags.plot, "diff", plot, console)) {
    return failure;
  }
  const MaybeFailure cut = CheckWhole(flags.diff.run, runs.a);
  return cut ? cut : CheckWhole(other, runs.b);
}

Action ConfigureDiffPlot(CLI::App& app) {
  const auto flags = std::make_shared<DiffPlotFlags>();
  app.add_option("A", flags->diff.run.trace,
                 "The trace that is looked at; may be packed (- is standard input)")
      ->required();
  app.add_option("B", flags->diff.other,
                 "The trace that it is held against; may be packed (- is standard input)")
      ->required();
  flags->diff.Declare(app);
  flags->plot.Declare(app, "column");
  app.add_option("--measure", flags->measure, "What is shown")
      ->check(CLI::IsMember(NamesOf(DiffPlotMeasures())))
      ->capture_default_str();
  app.add_option("--level", flags->level, "Of which units; unless given, the finest that is seen")
      ->check(CLI::IsMember(NamesOf(DiffPlotLevels())));
  return [flags](const Console& console) { return PlotDifference(*flags, console); };
}

}  // namespace

extern const Subcommand diffKind = {"diff", "Where one run does more than another, and where less",
                                    diffPlotFooter, ConfigureDiffPlot};

}  // namespace marrowfin
