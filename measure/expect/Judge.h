#ifndef MEASURE_EXPECT_JUDGE_H
#define MEASURE_EXPECT_JUDGE_H

#include <map>
#include <string>
#include <vector>

#include "measure/CountRun.h"
#include "measure/expect/Baseline.h"
#include "measure/expect/Rule.h"
#include "measure/expect/Verdict.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/About.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What tells packets.
enum class PacketsBy { NOTES, THREADS, NOTHING };

// A run that rules are held against.
struct JudgedRun {
  const TraceSource* trace = nullptr;
  const Index* index = nullptr;
  NotesOfTrace* notes = nullptr;  // null where there are none
  const About* about = nullptr;   // likewise
  RunQuestion question;           // array and links; the filter's range of records alone
  PacketsBy packets = PacketsBy::NOTES;
};

// Baselines by the name of their file.
typedef std::map<std::string, Baseline> Baselines;

// Windows of a rule that must each meet it, at most.
constexpr uint64_t MOST_WINDOWS_OF_RULE = 10000;

// Holds a run against rules: one verdict for each, in their order. Rules about the same part of the
// run share one count, which takes one pass. What a baseline lacks is told by the verdict.
//
// A fault where the trace cannot be read or has no record, or `progress`, which counts what
// CountRun and CountPackets do, asked to stop. Threads: one at a time for a NotesOfTrace.
[[nodiscard]] Result<std::vector<Verdict>> Judge(const std::vector<Rule>& rules,
                                                 const Baselines& baselines, const JudgedRun& run,
                                                 const ProgressCallback& progress = {});

// The filter of the events that a rule is about, as far as the array and the run's names tell it;
// what is wrong otherwise. For whoever asks whether a broken trace has all of them.
struct ScopeFilter {
  EventFilter filter;
  std::string wrong;
};
ScopeFilter FilterOf(const RuleScope& scope, const JudgedRun& run);

}  // namespace marrowfin

#endif
