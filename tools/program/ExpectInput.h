#ifndef TOOLS_PROGRAM_EXPECTINPUT_H
#define TOOLS_PROGRAM_EXPECTINPUT_H

#include <vector>

#include "measure/expect/Judge.h"
#include "measure/expect/Rule.h"
#include "measure/expect/Verdict.h"
#include "tools/program/RunInput.h"

namespace marrowfin {

// What the subcommands share that hold a run against rules.

// Holds a run that was opened against rules, with a line of progress.
MaybeFailure JudgeRun(const RunFlags& flags, const std::vector<Rule>& rules,
                      const Baselines& baselines, const Console& console, CountedRun& run,
                      std::vector<Verdict>& verdicts);

// That the trace breaks off before all that a rule asks for.
MaybeFailure CheckWholeFor(const std::vector<Rule>& rules, const CountedRun& run);

}  // namespace marrowfin

#endif
