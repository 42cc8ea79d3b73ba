#include "tools/program/DiffInput.h"

#include <utility>

#include "measure/AlignRuns.h"
#include "tools/program/WatchBytes.h"
#include "trace/read/FittingShapes.h"

namespace marrowfin {
namespace {

MaybeFailure IndexOne(const Console& console, CountedRun& run) {
  return run.trace.index ? std::nullopt : IndexOpened(console, run.trace);
}

// Whether the array of a run is only known from its events.
bool IsGuessed(const CountedRun& run) {
  const About* const about = run.companion->GetAbout();
  return about == nullptr || !about->array;
}

// One array for both, where that of one of the traces shows the other too: a run in which fewer
// elements did something is no run of a smaller array.
void ShareShape(DiffedRuns& runs) {
  for (const bool ofA : {true, false}) {
    CountedRun& one = ofA ? runs.a : runs.b;
    CountedRun& other = ofA ? runs.b : runs.a;
    if (HoldsTrace(one.question.shape, other.trace.index->GetSummary()) &&
        one.question.shape.Elements() >= other.question.shape.Elements()) {
      other.question.shape = one.question.shape;
      return;
    }
  }
}

}  // namespace

void DiffFlags::Declare(CLI::App& app) { run.DeclareConditions(app, false); }

RunFlags DiffFlags::OfOther() const {
  RunFlags flags = run;
  flags.trace = other;
  return flags;
}

MaybeFailure OpenDiffed(const DiffFlags& flags, const Console& console, DiffedRuns& runs) {
  if (MaybeFailure failure = CheckReadOnce({flags.run.trace, flags.other})) {
    return failure;
  }
  if (MaybeFailure failure = OpenUnindexed(flags.run.trace, console, runs.a.trace)) {
    return failure;
  }
  return OpenUnindexed(flags.other, console, runs.b.trace);
}

MaybeFailure DescribeDiffed(const DiffFlags& flags, const Console& console, DiffedRuns& runs) {
  if (runs.a.companion && runs.b.companion) {
    return std::nullopt;
  }
  for (const bool ofA : {true, false}) {
    CountedRun& run = ofA ? runs.a : runs.b;
    const RunFlags ofRun = ofA ? flags.run : flags.OfOther();
    if (MaybeFailure failure = IndexOne(console, run)) {
      return failure;
    }
    if (MaybeFailure failure = DescribeRun(ofRun, console, run)) {
      return failure;
    }
  }
  if (!flags.run.shape.Given() && IsGuessed(runs.a) && IsGuessed(runs.b)) {
    ShareShape(runs);
  }
  return std::nullopt;
}

MaybeFailure CountDiffed(const DiffFlags& flags, bool withPackets, const Console& console,
                         DiffedRuns& runs) {
  if (MaybeFailure failure = DescribeDiffed(flags, console, runs)) {
    return failure;
  }
  if (MaybeFailure failure = CountOpened(flags.run, withPackets, console, runs.a)) {
    return failure;
  }
  return CountOpened(flags.OfOther(), withPackets, console, runs.b);
}

MaybeFailure PairDiffed(const DiffFlags& flags, const Console& console, DiffedRuns& runs) {
  if (MaybeFailure failure = PairCounted(flags.run, console, runs.a)) {
    return failure;
  }
  return PairCounted(flags.OfOther(), console, runs.b);
}

MaybeFailure AlignDiffed(const DiffFlags& flags, AlignQuestion question, const Console& console,
                         DiffedRuns& runs, RunAlignment& aligned) {
  const FilterFlags& filter = flags.run.filter;
  const bool needsArray = filter.NeedArray();
  if (needsArray) {
    if (MaybeFailure failure = DescribeDiffed(flags, console, runs)) {
      return failure;
    }
  }
  for (const bool ofA : {true, false}) {
    const CountedRun& run = ofA ? runs.a : runs.b;
    if (MaybeFailure failure = filter.FilterFor(
            run.trace.file->Name(), needsArray ? std::optional(run.question.shape) : std::nullopt,
            ofA ? question.filterA : question.filterB)) {
      return failure;
    }
  }
  Result<RunAlignment> result =
      WatchBytes("comparing", console, [&](const ProgressCallback& progress) {
        return AlignRuns(*runs.a.trace.file, *runs.b.trace.file, question, progress);
      });
  if (!result) {
    return FailureOf(result.Why());
  }
  aligned = std::move(result).Take();
  return std::nullopt;
}

}  // namespace marrowfin
