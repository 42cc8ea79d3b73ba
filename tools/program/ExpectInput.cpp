#include "tools/program/ExpectInput.h"

#include <optional>
#include <utility>

#include "tools/program/CompanionInput.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "trace/ask/FilterRange.h"
#include "trace/ask/NotesOfTrace.h"

namespace marrowfin {
namespace {

PacketsBy PacketsOf(const RunFlags& flags) {
  return flags.packets == "thread" ? PacketsBy::THREADS
         : flags.packets == "none" ? PacketsBy::NOTHING
                                   : PacketsBy::NOTES;
}

Result<std::vector<Verdict>> JudgeOnce(const RunFlags& flags, const std::vector<Rule>& rules,
                                       const Baselines& baselines, const Console& console,
                                       CountedRun& run) {
  const Interruption interruption;
  ProgressLine line(console.terminal, "going through " + flags.trace, "M", 1e6);
  std::optional<NotesOfTrace> notes;
  if (run.companion->Notes() != nullptr) {
    notes.emplace(*run.trace.file, *run.trace.index, *run.companion->Notes());
  }
  JudgedRun judged = {run.trace.file.get(),      run.trace.index.get(), notes ? &*notes : nullptr,
                      run.companion->GetAbout(), run.question,          PacketsOf(flags)};
  // Of a trace that breaks off what stands before that is counted by the index.
  const Summary& summary = run.trace.index->GetSummary();
  if (summary.end) {
    judged.question.filter.lastRecord = summary.records;
  }
  Result<std::vector<Verdict>> verdicts = Judge(rules, baselines, judged, [&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
  if (notes) {
    ReportRefused(notes->Refused(), console);
  }
  return verdicts;
}

}  // namespace

MaybeFailure JudgeRun(const RunFlags& flags, const std::vector<Rule>& rules,
                      const Baselines& baselines, const Console& console, CountedRun& run,
                      std::vector<Verdict>& verdicts) {
  return AskByArray(run.trace, [&]() -> MaybeFailure {
    if (MaybeFailure failure = ChooseArray(flags, run)) {
      return failure;
    }
    Result<std::vector<Verdict>> judged = AskIndexed(
        console, run.trace, [&] { return JudgeOnce(flags, rules, baselines, console, run); });
    if (!judged) {
      return IndexingFailureOf(judged.Why(), flags.trace);
    }
    verdicts = std::move(judged).Take();
    return std::nullopt;
  });
}

MaybeFailure CheckWholeFor(const std::vector<Rule>& rules, const CountedRun& run) {
  const Fault& end = run.trace.index->GetSummary().end;
  if (!end) {
    return std::nullopt;
  }
  JudgedRun judged;
  judged.question = run.question;
  judged.about = run.companion->GetAbout();
  for (const Rule& rule : rules) {
    const ScopeFilter filter = FilterOf(rule.scope, judged);
    if (rule.skip || !filter.wrong.empty()) {
      continue;
    }
    const Result<bool> reaches = ReachesBehindEnd(*run.trace.file, *run.trace.index, filter.filter);
    if (!reaches) {
      return IndexingFailureOf(reaches.Why(), run.trace.file->Name());
    }
    if (*reaches) {
      return CutShort(end);
    }
  }
  return std::nullopt;
}

}  // namespace marrowfin
