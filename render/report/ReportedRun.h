#ifndef RENDER_REPORT_REPORTEDRUN_H
#define RENDER_REPORT_REPORTEDRUN_H

#include <optional>
#include <string>
#include <vector>

#include "measure/CountThreads.h"
#include "render/plot/PlottedRun.h"
#include "render/report/ReportCauses.h"
#include "render/report/ReportDifference.h"
#include "render/report/ReportVerdicts.h"
#include "trace/base/About.h"
#include "trace/base/Fault.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// What a report is about. What it points to outlives the making of the page.
struct ReportedRun {
  PlottedRun run;
  bool packetsAreThreads = false;

  const About* about = nullptr;  // null where nothing beside the trace tells of the run
  bool hasNotes = false;
  std::vector<Fault> refused;                // what is not believed of what stands beside the trace
  const Summary* summary = nullptr;          // of the whole trace, with why it was not read further
  std::optional<ThreadMap> threads;          // of a run with fires, at MapLevelOf its array
  std::optional<ReportedVerdicts> verdicts;  // where rules were asked
  std::optional<ReportedDifference> difference;  // where it was held against another run
  std::optional<ReportedCauses> causes;          // where they were looked for, and there are any
  std::string noCauses;                          // why they were not looked for

  std::string file;     // the trace, as commands name it
  std::string command;  // that makes the page again
  std::string program;  // by which it is made, with its version
};

}  // namespace marrowfin

#endif
