#ifndef RENDER_REPORT_REPORTDIFFERENCE_H
#define RENDER_REPORT_REPORTDIFFERENCE_H

#include <optional>
#include <string>
#include <vector>

#include "measure/PhasePairs.h"
#include "measure/RunAlignment.h"
#include "measure/RunDiff.h"
#include "render/plot/PlottedRun.h"
#include "render/report/ReportTable.h"

namespace marrowfin {

// A run that a run was held against, as a report tells it.
struct ReportedDifference {
  PlottedRun run;    // that the report is about, as it was counted for this
  PlottedRun other;  // that it was held against
  RunAlignment aligned;
  std::vector<PhasePair> phases;

  MeasuredRun Run() const { return {*run.counts, run.measures, run.packets, run.pairs}; }
  MeasuredRun Other() const { return {*other.counts, other.measures, other.packets, other.pairs}; }
};

// Whether they are equal, where they part, and which is quicker.
std::string DifferenceText(const ReportedDifference& difference);

// Every measure that changed: from what, to what, by how much.
ReportTable ChangeTable(const ReportedDifference& difference);

// Phases in their order, and which are quicker; no rows where neither run has several.
ReportTable PhasePairTable(const ReportedDifference& difference);

}  // namespace marrowfin

#endif
