#include "tools/program/Frames.h"

#include <algorithm>
#include <string>

#include "tools/program/Flags.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "trace/ask/StateReader.h"

namespace marrowfin {
namespace {

// Steps up to which it is cheaper to go on from one to the next than to ask anew.
constexpr uint64_t NEAR = 32;

}  // namespace

void FrameFlags::Declare(CLI::App& app) {
  AddCount(app, "--from", from, "The first step of a film or a sheet; 0 unless given");
  AddCount(app, "--to", to, "The last step; the last that the viewer draws unless given");
  AddCount(app, "--every", every, "Every so many steps; 1 unless given")
      ->check(CLI::Range(uint64_t{1}, ~uint64_t{0}));
  app.add_flag("--cycles", cycles, "Count cycles instead of steps");
}

MaybeFailure FrameFlags::Check(const std::optional<int>& skipTo) const {
  if (from && to && *from > *to) {
    return Failure{EXIT_USAGE, "--from lies behind --to", "Give the earlier one as --from."};
  }
  if (cycles && skipTo) {
    return Failure{EXIT_USAGE, "--cycles leaves nothing out, so there is no skipping to a cycle",
                   "Give -F with steps alone."};
  }
  return std::nullopt;
}

MaybeFailure Frames::FailOf(const Fault& met) {
  const Fault fault = BlameIndex(met, trace, shape);
  damagedIndex = fault.kind == Fault::DAMAGED_INDEX;
  return IndexingFailureOf(fault, trace.file->Name());
}

Result<uint64_t> Frames::LastMoment(const Console& console) const {
  const Summary& summary = trace.index->GetSummary();
  if (flags.cycles) {
    return summary.maxCycle;
  }
  const Interruption interruption;
  ProgressLine line(console.terminal, "going through " + trace.file->Name(), "M records", 1e6);
  return StateReader(*trace.file, *trace.index, shape).CountSteps(skipTo, [&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
}

MaybeFailure Frames::Plan(const Console& console, std::optional<uint64_t> most) {
  const Result<uint64_t> last = LastMoment(console);
  if (!last) {
    return FailOf(last.Why());
  }
  const std::string unit = flags.cycles ? "cycle " : "step ";
  // All cycles behind the last one are alike.
  const uint64_t to = std::min(flags.to.value_or(*last), flags.cycles ? *last : ~uint64_t{0});
  first = flags.from.value_or(0);
  const uint64_t highest = std::max(first, to);
  if (highest > *last && !flags.cycles) {
    return Failure{EXIT_INPUT,
                   trace.file->Name() + ": the viewer draws no step " + std::to_string(highest) +
                       ": the last is step " + std::to_string(*last),
                   "Ask for steps up to that."};
  }
  const Fault& end = trace.index->GetSummary().end;
  if (end && (flags.cycles ? to >= *last : !flags.to)) {
    Failure failure = FailureOf(end);
    failure.remedy = "Give --to, with a " + unit + "before that, to show what is there.";
    return failure;
  }
  const uint64_t range = to < first ? 0 : to - first;
  distance =
      flags.every.value_or(most && *most > 1 ? std::max<uint64_t>(1, range / (*most - 1)) : 1);
  count = range / distance + 1;
  if (most) {
    count = std::min(count, *most);
  }
  return std::nullopt;
}

Fault Frames::Move(uint64_t moment) {
  if (flags.cycles) {
    return cursor.MoveToCycle(moment);
  }
  if (done == 0 || distance > NEAR) {
    return cursor.MoveToStep(moment, skipTo);
  }
  for (uint64_t i = 0; i < distance; ++i) {
    const Result<bool> moved = cursor.Next();
    if (!moved) {
      return moved.Why();
    }
  }
  return {};
}

MaybeFailure Frames::Next() {
  if (const Fault met = Move(first + done * distance)) {
    return FailOf(met);
  }
  ++done;
  return std::nullopt;
}

}  // namespace marrowfin
