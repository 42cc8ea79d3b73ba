#ifndef MEASURE_PHASEPAIRS_H
#define MEASURE_PHASEPAIRS_H

#include <optional>
#include <vector>

#include "measure/CountRun.h"
#include "measure/RunAlignment.h"
#include "measure/RunMeasures.h"
#include "measure/Timeline.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"

namespace marrowfin {

// A phase of one run: its cycles, both ends included.
struct PhaseSpan {
  CycleRange cycles;
  double firesPerCycle = 0;
};

// The n-th phase of two runs.
struct PhasePair {
  std::optional<PhaseSpan> a;  // nothing where that run has fewer
  std::optional<PhaseSpan> b;

  // How many times as fast `a` is: cycles of `b` over cycles of `a`.
  std::optional<double> SpeedUp() const;
};

// Pairs the phases of two runs in their order. Where none are told of either run, each is one
// phase. What is the n-th phase of one need not be what is the n-th of the other: a phase that one
// run has more shifts all behind it.
std::vector<PhasePair> PairPhases(const RunMeasures& a, const TimeColumns& columnsA,
                                  const RunMeasures& b, const TimeColumns& columnsB);

// A run whose phases are counted. All outlive the question.
struct PhasedRun {
  const TraceSource& trace;
  const Index* index;  // may be null
  const RunQuestion& question;
};

// Holds the counts of every unit of the array in the n-th phase of one run against those of the
// other; the divergence is at the first phase in which any differs, and there at the element whose
// fires, else sends, else receives differ most, else at such a switch (ties: lower row, then
// column). Counts the records of both runs once for each phase. A fault as of CountRun.
[[nodiscard]] Result<RunAlignment> AlignPhases(const PhasedRun& a, const PhasedRun& b,
                                               const std::vector<PhasePair>& pairs, bool firstOnly,
                                               const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
