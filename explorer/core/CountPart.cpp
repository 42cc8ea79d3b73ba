#include "explorer/core/CountPart.h"

#include <utility>

#include "measure/CountRun.h"

namespace marrowfin {
namespace {

RunQuestion QuestionOf(const Asking& asking, const RunPart& part) {
  RunQuestion question;
  question.shape = part.shape;
  question.sumsSuffice = part.sums;
  const About* const about = asking.view.Beside().GetAbout();
  if (about != nullptr && about->array) {
    question.wrapColumns = about->array->wrapColumns;
    question.wrapRows = about->array->wrapRows;
  }
  question.columnFirst = about != nullptr && about->links && about->links->routing == "yx";
  question.filter.firstCycle = part.first;
  question.filter.lastCycle = part.last;
  // What is not indexed, or comes behind a break, is in no answer.
  if (asking.GetSummary().end || !asking.view.IsWhole()) {
    question.filter.lastRecord = asking.GetSummary().records;
  }
  return question;
}

}  // namespace

Result<std::shared_ptr<const RunCounts>> CountPart(const Asking& asking, const RunPart& asked) {
  RunPart part = asked;
  const Summary& summary = asking.GetSummary();
  if (summary.Ordered() && part.first <= summary.firstCycle && part.last >= summary.maxCycle) {
    part.first = 0;  // the whole run, however it was asked for
    part.last = ~uint64_t{0};
  }
  const auto count = [&]() -> Result<std::shared_ptr<const RunCounts>> {
    Result<RunCounts> counted =
        CountRun(asking.Trace(), &asking.index, QuestionOf(asking, part), asking.progress);
    if (!counted) {
      return counted.Why();
    }
    return std::make_shared<const RunCounts>(std::move(counted).Take());
  };
  return part.shape.Elements() > CountedRuns::MOST_ELEMENTS
             ? count()
             : asking.view.Runs().Get(part, asking.progress, count);
}

}  // namespace marrowfin
