#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "measure/CountSpaceTime.h"
#include "measure/FindCauses.h"
#include "measure/RunBounds.h"
#include "render/plot/ConeOfRun.h"
#include "render/plot/WhyOfRun.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/EventChoice.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char whyPlotFooter[] =
    "Examples:\n"
    "  marrowfin-trace plot why run.trace -o path.png\n"
    "  marrowfin-trace plot why run.trace --record 5124 -o chain.svg\n"
    "  marrowfin-trace plot why run.trace --size column --json path.json\n"
    "  marrowfin-trace plot why run.trace --record 17 --cone forward -o cone.png\n"
    "  marrowfin-trace plot why run.trace --slack --size column -o slack.png\n"
    "\n"
    "The chain of causes that led to an event, or to the end of the run: on the array, and on the\n"
    "map of PEs and cycles. With --cone all that led to the event, or that followed from it; with\n"
    "--slack how much later each PE could have fired. marrowfin-trace why tells the numbers.\n"
    "marrowfin-trace plot --help tells the exit status.";

struct WhyPlotFlags {
  RunPlotFlags shared;
  EventChoice event;
  std::string cone;
  bool slack = false;
  bool infer = false;
};

// What is drawn: one of them.
struct Found {
  PlottedChain chain;
  std::optional<PlottedCone> cone;
  std::optional<SpaceTime> map;  // of the cone
  std::optional<RunSlack> slack;
  bool certain = true;
};

MaybeFailure CheckWhyPlotFlags(const WhyPlotFlags& flags) {
  if (!flags.shared.run.AskForAll()) {
    return Failure{EXIT_USAGE, "causes are those of a whole run, and a part of it is asked for",
                   "Leave out the conditions on events; --record and --pe name one."};
  }
  if (flags.slack && (flags.event.IsGiven() || !flags.cone.empty())) {
    return Failure{EXIT_USAGE, "--slack is of a whole run",
                   "Leave out what names an event, and --cone."};
  }
  return flags.event.Check();
}

template <class T>
Fault Take(Result<T> result, std::optional<T>& value) {
  if (!result) {
    return result.Why();
  }
  value = std::move(result).Take();
  return {};
}

Fault FindSlackOf(const Causes& causes, const ProgressCallback& progress, Found& found) {
  found.certain = causes.counts.AreCertain();
  return Take(FindSlack(causes, progress), found.slack);
}

Fault FindConeOf(const WhyPlotFlags& flags, const Causes& causes, uint64_t record,
                 const RunToPlot& of, const ProgressCallback& progress, Found& found) {
  const ConeDirection direction =
      flags.cone == "back" ? ConeDirection::BACK : ConeDirection::FORWARD;
  if (Fault fault = Take(ConeToPlot(causes, record, direction, progress), found.cone)) {
    return fault;
  }
  return Take(ConeOverTime(causes, found.cone->cone, EmptyMapOf(of.run, of.style), progress),
              found.map);
}

Fault FindIt(const WhyPlotFlags& flags, RunToPlot& of, const ProgressCallback& progress,
             Found& found) {
  const TraceSource& trace = *of.counted.trace.file;
  const Index& index = *of.counted.trace.index;
  const RunQuestion& asked = of.counted.question;
  std::optional<NotesOfTrace> notes;
  if (of.counted.companion->Notes() != nullptr && !flags.infer) {
    notes.emplace(trace, index, *of.counted.companion->Notes());
  }
  Result<Causes> causes = FindCauses(trace, index, notes ? &*notes : nullptr,
                                     {asked.shape, asked.wrapColumns, asked.wrapRows}, progress);
  if (!causes) {
    return causes.Why();
  }
  std::string missing;
  const Result<std::optional<uint64_t>> record = flags.event.Choose(*causes, missing, progress);
  if (!record) {
    return record.Why();
  }
  if (!*record) {
    Fault fault;
    fault.kind = Fault::OUT_OF_RANGE;
    fault.file = trace.Name();
    fault.reason =
        missing.empty() ? "no fires and no messages, so nothing caused anything" : missing;
    return fault;
  }
  if (flags.slack) {
    return FindSlackOf(*causes, progress, found);
  }
  if (!flags.cone.empty()) {
    return FindConeOf(flags, *causes, **record, of, progress, found);
  }
  Result<PlottedChain> followed =
      ChainToPlot(*causes, asked.shape, **record, of.style, Level::PE, progress);
  if (!followed) {
    return followed.Why();
  }
  found.chain = std::move(followed).Take();
  found.chain.isEnd = !flags.event.IsGiven();
  return {};
}

Result<Plot> MakePlot(const WhyPlotFlags& flags, const Console& console, RunToPlot& of,
                      Found& found) {
  if (const Fault fault = AskRun(
          flags.shared.run, console, of.counted,
          [&](const ProgressCallback& progress) { return FindIt(flags, of, progress, found); })) {
    return fault;
  }
  if (found.slack) {
    return PlotSlack(of.run, *found.slack, found.certain, of.style);
  }
  if (found.cone) {
    return PlotCone(of.run, *found.cone, std::move(*found.map), of.style);
  }
  SpaceTimeQuestion question = MapOfChain(of.counted.question.shape, of.style);
  question.filter = of.counted.question.filter;
  Result<SpaceTime> map =
      AskRun(flags.shared.run, console, of.counted, [&](const ProgressCallback& progress) {
        return CountSpaceTime(*of.counted.trace.file, *of.counted.trace.index, question, progress);
      });
  if (!map) {
    return map.Why();
  }
  return PlotWhy(of.run, found.chain, std::move(map).Take(), of.style);
}

Action ConfigureWhyPlot(CLI::App& app) {
  const auto flags = std::make_shared<WhyPlotFlags>();
  flags->shared.Declare(app, "wide");
  app.remove_option(app.get_option("--pe"));  // which names the event here, and no part of the run
  flags->event.Declare(app);
  app.add_option("--cone", flags->cone,
                 "back: all that led to the event; forward: all that followed from it")
      ->check(CLI::IsMember({"back", "forward"}));
  app.add_flag("--slack", flags->slack,
               "How much later each PE could have fired without the run being longer");
  app.add_flag("--infer", flags->infer, "Infer causes as if the companion told none");
  return [flags](const Console& console) {
    if (MaybeFailure failure = CheckWhyPlotFlags(*flags)) {
      return MaybeFailure(failure);
    }
    Found found;
    return PlotRun("why", flags->shared, {}, console,
                   [&](RunToPlot& of) { return MakePlot(*flags, console, of, found); });
  };
}

}  // namespace

extern const Subcommand whyKind = {"why", "What led to an event, or to the end of the run",
                                   whyPlotFooter, ConfigureWhyPlot};

}  // namespace marrowfin
