#include "explorer/core/Spot.h"

#include "trace/ask/Walk.h"

namespace marrowfin {
namespace {

Fault NoSuch(const Asking& asking, const std::string& what, uint64_t last) {
  Fault fault;
  fault.kind = Fault::OUT_OF_RANGE;
  fault.file = asking.Trace().Name();
  fault.reason = "there is no such " + what;
  fault.remedy = "the last one is " + std::to_string(last);
  return fault;
}

Fault CheckRange(const Asking& asking, const SpotQuestion& question, const ViewerSteps& steps) {
  const Summary& summary = asking.GetSummary();
  if (question.record && *question.record >= summary.records) {
    return NoSuch(asking, "record", summary.records == 0 ? 0 : summary.records - 1);
  }
  if (!question.record && !question.moment.natural && question.moment.step > steps.count + 1) {
    return NoSuch(asking, "step", steps.count + 1);
  }
  return {};
}

Result<uint64_t> EndOf(const Asking& asking, const SpotQuestion& question,
                       const ViewerSteps& steps) {
  if (question.record) {
    return *question.record + 1;
  }
  if (!question.moment.natural) {
    return FindStepEnd(asking.Trace(), asking.index, steps, question.moment.step);
  }
  const uint64_t cycle = question.moment.cycle;
  if (cycle == ~uint64_t{0}) {
    return asking.GetSummary().records;
  }
  return FindCycle(asking.Trace(), asking.index, cycle + 1, asking.progress);
}

// A change of cycle ends a step, so what comes before a record tells in which step it is.
Result<uint64_t> StepOf(const Asking& asking, const ViewerSteps& steps, uint64_t record) {
  if (record < steps.start || record == 0) {
    return uint64_t{0};
  }
  const Result<Preceding> before = FindPreceding(asking.Trace(), asking.index, record);
  if (!before) {
    return before.Why();
  }
  return before->changes - steps.changes + steps.early + 1;
}

}  // namespace

Result<Spot> FindSpot(const Asking& asking, const SpotQuestion& question) {
  const Result<ViewerSteps> steps =
      FindSteps(asking.Trace(), asking.index, question.moment.skipTo, asking.progress);
  if (!steps) {
    return steps.Why();
  }
  if (Fault fault = CheckRange(asking, question, *steps)) {
    return fault;
  }
  const Result<uint64_t> end = EndOf(asking, question, *steps);
  if (!end) {
    return end.Why();
  }
  Spot spot;
  spot.end = *end;
  spot.lastStep = steps->count;
  if (*end > 0) {
    const Result<Preceding> last = FindPreceding(asking.Trace(), asking.index, *end);
    const Result<uint64_t> step = last ? StepOf(asking, *steps, *end - 1) : last.Why();
    if (!step) {
      return step.Why();
    }
    spot.cycle = last->cycle;
    spot.naturalStep = last->changes + 1;
    spot.step = *step;
  }
  if (!question.record && !question.moment.natural) {
    spot.step = question.moment.step;
  }
  return spot;
}

Result<uint64_t> StepOfRecord(const Asking& asking, uint64_t skipTo, uint64_t record) {
  const Result<ViewerSteps> steps =
      FindSteps(asking.Trace(), asking.index, skipTo, asking.progress);
  if (!steps) {
    return steps.Why();
  }
  return StepOf(asking, *steps, record);
}

}  // namespace marrowfin
