#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "measure/CountThreads.h"
#include "render/plot/ArrayGrid.h"
#include "render/plot/ThreadsOfRun.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char threadsPlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot threads run.trace -o threads.png\n"
    "  marrowfin-trace plot threads run.trace --level domain --size wide -o threads.svg\n"
    "  marrowfin-trace plot threads run.trace --csv threads.csv\n"
    "\n"
    "A cell has the colour of the thread with most fires there, and a dot where that has less "
    "than\n"
    "90 % of them. Where that is so everywhere, threads share all places, and there is no map.\n"
    "marrowfin-trace plot --help tells the exit status.";

const std::map<std::string, Level>& ThreadsPlotLevels() {
  static const std::map<std::string, Level> levels = {
      {"pe", Level::PE}, {"domain", Level::DOMAIN}, {"cluster", Level::CLUSTER}};
  return levels;
}

struct ThreadsFlags {
  RunPlotFlags shared;
  std::optional<std::string> level;
};

Result<Plot> MakeMap(const ThreadsFlags& flags, const Console& console, RunToPlot& of) {
  ThreadQuestion question;
  question.shape = of.counted.question.shape;
  question.filter = of.counted.question.filter;
  question.level = flags.level ? ThreadsPlotLevels().at(*flags.level)
                               : LevelFor(question.shape, of.style.PlotWidth(), of.style.Scale());
  const Result<ThreadMap> map =
      AskRun(flags.shared.run, console, of.counted, [&](const ProgressCallback& progress) {
        return CountThreads(*of.counted.trace.file, *of.counted.trace.index, question, progress);
      });
  if (!map) {
    return map.Why();
  }
  return PlotThreads(of.run, *map);
}

Action ConfigureThreadsPlot(CLI::App& app) {
  const auto flags = std::make_shared<ThreadsFlags>();
  flags->shared.Declare(app, "column");
  app.add_option("--level", flags->level, "Of which units; unless given, the finest that is seen")
      ->check(CLI::IsMember(NamesOf(ThreadsPlotLevels())));
  return [flags](const Console& console) {
    RunPlotNeeds needs;
    needs.sumsSuffice = true;
    return PlotRun("threads", flags->shared, needs, console,
                   [&](RunToPlot& of) { return MakeMap(*flags, console, of); });
  };
}

}  // namespace

extern const Subcommand threadsKind = {"threads", "Which thread lives where", threadsPlotFooter,
                                       ConfigureThreadsPlot};

}  // namespace marrowfin
