#include "measure/RunCauses.h"

#include <utility>

namespace marrowfin {
namespace {

template <class T>
Fault Take(Result<T> result, T& value) {
  if (!result) {
    return result.Why();
  }
  value = std::move(result).Take();
  return {};
}

Fault TakeLongestMessage(const Causes& causes, RunCauses& found) {
  if (found.chain.longestMessage == 0) {
    return {};
  }
  TimedRecords records(causes.trace);
  const Result<TimedRecords::Timed> message = records.Read(found.chain.longestMessageRecord);
  if (!message) {
    return message.Why();
  }
  if (message->event.type == SEND_RECORD) {
    found.longestMessage = message->event;
  }
  return {};
}

Fault Fill(const Causes& causes, const ArrayShape& shape, const ProgressCallback& progress,
           RunCauses& found) {
  if (Fault fault = Take(FindChain(causes, shape, *causes.last, progress), found.chain)) {
    return fault;
  }
  if (Fault fault = TakeLongestMessage(causes, found)) {
    return fault;
  }
  if (Fault fault = Take(FindBounds(causes, progress), found.bounds)) {
    return fault;
  }
  return Take(FindSlack(causes, progress), found.slack);
}

}  // namespace

Result<std::optional<RunCauses>> FindRunCauses(const TraceSource& trace, const Index& index,
                                               NotesOfTrace* notes, const CauseQuestion& question,
                                               const ProgressCallback& progress) {
  const Result<Causes> causes = FindCauses(trace, index, notes, question, progress);
  if (!causes) {
    return causes.Why();
  }
  if (!causes->last) {
    return std::optional<RunCauses>();
  }
  RunCauses found;
  found.counts = causes->counts;
  found.firstTime = causes->firstTime;
  if (Fault fault = Fill(*causes, question.shape, progress, found)) {
    return fault;
  }
  return std::optional(std::move(found));
}

}  // namespace marrowfin
