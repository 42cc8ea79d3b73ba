#include "tools/program/Moment.h"

#include <string>
#include <utility>

#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "trace/ask/StateReader.h"

namespace marrowfin {
namespace {

Result<ArrayState> Ask(const MomentFlags& moment, const ArrayShape& shape,
                       const IndexedTrace& trace, const Console& console) {
  const StateReader reader(*trace.file, *trace.index, shape);
  const Interruption interruption;
  ProgressLine line(console.terminal, "going through " + trace.file->Name(), "M records", 1e6);
  const auto watch = [&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  };
  Result<ArrayState> state = moment.cycle ? reader.AtCycle(*moment.cycle, watch)
                                          : reader.AtStep(*moment.step, moment.SkipTo(), watch);
  return state ? std::move(state) : BlameIndex(state.Why(), trace, shape);
}

// A moment that a broken trace does not have, it may have had.
Failure NotTold(const std::string& trace, const Fault& fault, const Fault& end) {
  Failure failure = IndexingFailureOf(fault, trace);
  if (end && fault.kind == Fault::OUT_OF_RANGE) {
    failure.reason += "; the trace breaks off: " + FailureOf(end).reason;
  }
  return failure;
}

}  // namespace

void MomentFlags::Declare(CLI::App& app) {
  AddCount(app, "--step", step, "After this many animation steps");
  AddCount(app, "--cycle", cycle, "With all events up to this cycle");
  app.add_option("-F", skipTo, "Skip to this cycle first, as the viewer does (with --step)")
      ->transform(CLI::Validator(MakeSignedDecimal, ""));
}

MaybeFailure MomentFlags::Check() const {
  if (step.has_value() == cycle.has_value()) {
    return Failure{EXIT_USAGE, "which moment is not clear", "Give one of --step and --cycle."};
  }
  if (skipTo && cycle) {
    return Failure{EXIT_USAGE, "--cycle leaves nothing out, so there is no skipping to a cycle",
                   "Give -F with --step alone."};
  }
  return std::nullopt;
}

MaybeFailure TellState(const MomentFlags& moment, const ArrayShape& shape, IndexedTrace& trace,
                       const Console& console, ArrayState& state) {
  Result<ArrayState> told =
      AskIndexed(console, trace, [&] { return Ask(moment, shape, trace, console); });
  if (!told) {
    return NotTold(trace.file->Name(), told.Why(), trace.index->GetSummary().end);
  }
  state = std::move(told).Take();
  return std::nullopt;
}

bool IsCutShort(const MomentFlags& moment, const ArrayState& state, const Summary& summary) {
  if (!summary.end) {
    return false;
  }
  return moment.step ? !state.shown : state.last == summary.records || !summary.Ordered();
}

}  // namespace marrowfin
