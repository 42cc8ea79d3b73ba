#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "measure/CountSpaceTime.h"
#include "measure/FindCauses.h"
#include "render/plot/WhyOfRun.h"
#include "tools/program/CompanionInput.h"
#include "tools/program/EventChoice.h"
#include "tools/program/RunPlot.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

constexpr char footer[] =
    "Examples:\n"
    "  marrowfin-trace plot why run.trace -o path.png\n"
    "  marrowfin-trace plot why run.trace --record 5124 -o chain.svg\n"
    "  marrowfin-trace plot why run.trace --size column --json path.json\n"
    "\n"
    "The chain of causes that led to an event, or to the end of the run: on the array, and on the\n"
    "map of PEs and cycles. marrowfin-trace why tells its numbers.\n"
    "marrowfin-trace plot --help tells the exit status.";

struct WhyPlotFlags {
  RunPlotFlags shared;
  EventChoice event;
  bool infer = false;
};

MaybeFailure CheckFlags(const WhyPlotFlags& flags) {
  if (!flags.shared.run.AskForAll()) {
    return Failure{EXIT_USAGE, "causes are those of a whole run, and a part of it is asked for",
                   "Leave out the conditions on events; --record and --pe name one."};
  }
  return flags.event.Check();
}

Fault FindIt(const WhyPlotFlags& flags, RunToPlot& of, const ProgressCallback& progress,
             PlottedChain& chain) {
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
  Result<PlottedChain> followed =
      ChainToPlot(*causes, asked.shape, **record, of.style, Level::PE, progress);
  if (!followed) {
    return followed.Why();
  }
  chain = std::move(followed).Take();
  chain.isEnd = !flags.event.IsGiven();
  return {};
}

Result<Plot> MakePlot(const WhyPlotFlags& flags, const Console& console, RunToPlot& of,
                      PlottedChain& chain) {
  if (const Fault fault = AskRun(
          flags.shared.run, console, of.counted,
          [&](const ProgressCallback& progress) { return FindIt(flags, of, progress, chain); })) {
    return fault;
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
  return PlotWhy(of.run, chain, std::move(map).Take(), of.style);
}

Action Configure(CLI::App& app) {
  const auto flags = std::make_shared<WhyPlotFlags>();
  flags->shared.Declare(app, "wide");
  app.remove_option(app.get_option("--pe"));  // which names the event here, and no part of the run
  flags->event.Declare(app);
  app.add_flag("--infer", flags->infer, "Infer causes as if the companion told none");
  return [flags](const Console& console) {
    if (MaybeFailure failure = CheckFlags(*flags)) {
      return MaybeFailure(failure);
    }
    PlottedChain chain;
    return PlotRun("why", flags->shared, {}, console,
                   [&](RunToPlot& of) { return MakePlot(*flags, console, of, chain); });
  };
}

}  // namespace

extern const Subcommand whyKind = {"why", "What led to an event, or to the end of the run", footer,
                                   Configure};

}  // namespace marrowfin
