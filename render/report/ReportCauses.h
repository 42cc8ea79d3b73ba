#ifndef RENDER_REPORT_REPORTCAUSES_H
#define RENDER_REPORT_REPORTCAUSES_H

#include <cstdint>
#include <optional>
#include <string>

#include "measure/CausalChain.h"
#include "measure/FindCauses.h"
#include "measure/RunBounds.h"
#include "measure/SpaceTime.h"
#include "render/plot/WhyOfRun.h"
#include "render/report/ReportTable.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"

namespace marrowfin {

// What led to the end of a run, as a report tells it.
struct ReportedCauses {
  CauseCounts counts;
  PlottedChain path;  // the critical path
  SpaceTime map;      // of the fires, on which it is drawn
  RunBounds bounds;
  RunSlack slack;

  const CausalChain& Chain() const { return path.chain; }
};

// The picture of the critical path.
Plot PlotCriticalPath(const PlottedRun& run, const ReportedCauses& causes, const PlotStyle& style);

// Finds it; nothing of a run without fires and messages. Costs and faults as of FindCauses.
[[nodiscard]] Result<std::optional<ReportedCauses>> FindReportedCauses(
    const TraceSource& trace, const Index& index, NotesOfTrace* notes,
    const CauseQuestion& question, const ProgressCallback& progress = {});

// What is said of the critical path beside its picture: where it begins, whether it is certain.
std::string CriticalPathText(const ReportedCauses& causes);

// Where the time of the critical path went, the longest first.
ReportTable ChainTable(const ReportedCauses& causes);

// How early the run could end, had some things been quicker.
ReportTable BoundsTable(const ReportedCauses& causes);

// How much later elements could have fired, the least first.
ReportTable SlackTable(const ReportedCauses& causes);

}  // namespace marrowfin

#endif
