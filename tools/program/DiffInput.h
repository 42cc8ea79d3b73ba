#ifndef TOOLS_PROGRAM_DIFFINPUT_H
#define TOOLS_PROGRAM_DIFFINPUT_H

#include <string>

#include "measure/RunAlignment.h"
#include "tools/program/RunInput.h"

namespace marrowfin {

// What the subcommands share that hold one run against another.

// The flags that say which two runs, and which part of them.
struct DiffFlags {
  RunFlags run;       // its trace is A
  std::string other;  // B

  // Without the two traces.
  void Declare(CLI::App& app);

  // The same flags for B.
  RunFlags OfOther() const;
};

// Both runs, as far as they were opened and counted.
struct DiffedRuns {
  CountedRun a;
  CountedRun b;
};

// Opens both traces, without indexes; packed ones are unpacked.
MaybeFailure OpenDiffed(const DiffFlags& flags, const Console& console, DiffedRuns& runs);

// Opens indexes and companions and chooses the arrays. Where neither flags nor companions tell
// them, what shows both traces is taken for both.
MaybeFailure DescribeDiffed(const DiffFlags& flags, const Console& console, DiffedRuns& runs);

// The same, and counts both runs. Both have records.
MaybeFailure CountDiffed(const DiffFlags& flags, bool withPackets, const Console& console,
                         DiffedRuns& runs);

// Counts how long messages take to their fires, of both runs that were counted.
MaybeFailure PairDiffed(const DiffFlags& flags, const Console& console, DiffedRuns& runs);

// Holds the traces against each other, not by phase; opened only, unless a condition on events asks
// for the array.
MaybeFailure AlignDiffed(const DiffFlags& flags, AlignQuestion question, const Console& console,
                         DiffedRuns& runs, RunAlignment& aligned);

}  // namespace marrowfin

#endif
