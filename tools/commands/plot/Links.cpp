#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>

#include "render/plot/LinksOfRun.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char linksPlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot links run.trace -o links.png\n"
    "  marrowfin-trace plot links run.trace --level cluster --theme print -o links.pdf\n"
    "  marrowfin-trace plot links run.trace --cycles 5000:9999 --csv links.csv\n"
    "\n"
    "Two lanes between neighbours, traffic keeps right; width and colour are the load. Arrays of\n"
    "more than 16 nodes along an axis are four maps, one for each way that links lead.\n"
    "docs/measures.md tells whose way a message is thought to go.\n"
    "marrowfin-trace plot --help tells the exit status.";

struct LinksFlags {
  RunPlotFlags shared;
  std::optional<std::string> level;
  std::optional<double> scaleMax;
};

LinksWish WishOf(const LinksFlags& flags) {
  LinksWish wish;
  if (flags.level) {
    wish.level = *flags.level == "pe" ? Level::PE : Level::CLUSTER;
  }
  wish.scaleMax = flags.scaleMax;
  return wish;
}

Action ConfigureLinksPlot(CLI::App& app) {
  const auto flags = std::make_shared<LinksFlags>();
  flags->shared.Declare(app, "column");
  flags->shared.run.DeclareNotes(app);
  app.add_option("--level", flags->level,
                 "Links between PEs or switches of clusters; unless given, what messages use")
      ->check(CLI::IsMember({"pe", "cluster"}));
  AddScaleMax(app, flags->scaleMax);
  return [flags](const Console& console) {
    RunPlotNeeds needs;
    needs.elementLinks = flags->level == "pe";
    return PlotRun("links", flags->shared, needs, console, [&](RunToPlot& of) -> Result<Plot> {
      return PlotLinks(of.run, WishOf(*flags), of.style);
    });
  };
}

}  // namespace

extern const Subcommand linksKind = {"links", "Which links fill: the load of each", linksPlotFooter,
                                     ConfigureLinksPlot};

}  // namespace marrowfin
