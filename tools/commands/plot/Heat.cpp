#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "render/plot/HeatOfRun.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char heatPlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot heat run.trace -o heat.png\n"
    "  marrowfin-trace plot heat run.trace --measure utilisation --level cluster -o heat.svg\n"
    "  marrowfin-trace plot heat run.trace --size slide --theme dark -o slide.png\n"
    "  marrowfin-trace plot heat run.trace --csv heat.csv\n"
    "  marrowfin-trace plot heat noted.trace --kind wait -o waits.png\n"
    "\n"
    "A cell is a processing element, or a larger unit, and its colour what it did in the range.\n"
    "marrowfin-trace plot --help tells the exit status.";

const std::map<std::string, HeatWish>& HeatPlotMeasures() {
  static const std::map<std::string, HeatWish> measures = {
      {"fires", {PlaceMeasure::FIRES}},       {"sends", {PlaceMeasure::SENDS}},
      {"receives", {PlaceMeasure::RECEIVES}}, {"utilisation", {PlaceMeasure::UTILISATION}},
      {"idle", {PlaceMeasure::IDLE}},         {"transmissions", {PlaceMeasure::FIRES, true}}};
  return measures;
}

const std::map<std::string, Level>& HeatPlotLevels() {
  static const std::map<std::string, Level> levels = {
      {"pe", Level::PE}, {"domain", Level::DOMAIN}, {"cluster", Level::CLUSTER}};
  return levels;
}

struct HeatFlags {
  RunPlotFlags shared;
  std::string measure = "fires";
  std::optional<std::string> level;
  std::string reduce = "mean";
  std::optional<double> scaleMax;
};

// Whether the index tells them; of cycles it does not know in which an element fired.
bool AreSums(const std::string& measure) { return measure != "utilisation" && measure != "idle"; }

HeatWish WishOf(const HeatFlags& flags) {
  HeatWish wish = HeatPlotMeasures().at(flags.measure);
  if (flags.level) {
    wish.level = HeatPlotLevels().at(*flags.level);
  }
  wish.largest = flags.reduce == "max";
  wish.scaleMax = flags.scaleMax;
  return wish;
}

Action ConfigureHeatPlot(CLI::App& app) {
  const auto flags = std::make_shared<HeatFlags>();
  flags->shared.Declare(app, "column");
  flags->shared.run.DeclareNotes(app);
  app.add_option("--measure", flags->measure, "What is shown")
      ->check(CLI::IsMember(NamesOf(HeatPlotMeasures())))
      ->capture_default_str();
  app.add_option("--level", flags->level, "Of which units; unless given, the finest that is seen")
      ->check(CLI::IsMember(NamesOf(HeatPlotLevels())));
  app.add_option("--reduce", flags->reduce, "Of the PEs of a unit: mean or max")
      ->check(CLI::IsMember({"mean", "max"}))
      ->capture_default_str();
  AddScaleMax(app, flags->scaleMax);
  return [flags](const Console& console) {
    RunPlotNeeds needs;
    needs.sumsSuffice = AreSums(flags->measure);
    return PlotRun("heat", flags->shared, needs, console, [&](RunToPlot& of) -> Result<Plot> {
      return PlotHeat(of.run, WishOf(*flags), of.style);
    });
  };
}

}  // namespace

extern const Subcommand heatKind = {"heat", "Where a run is busy: the array", heatPlotFooter,
                                    ConfigureHeatPlot};

}  // namespace marrowfin
