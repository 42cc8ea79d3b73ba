#ifndef RENDER_REPORT_RUNTABLES_H
#define RENDER_REPORT_RUNTABLES_H

#include "render/report/ReportTable.h"
#include "render/report/ReportedRun.h"

namespace marrowfin {

// The numbers behind the pictures of a report; a table without rows where a run has none.

// What each element did, the busiest first.
ReportTable ElementTable(const ReportedRun& reported);

// Phases in the order of time.
ReportTable PhaseTable(const ReportedRun& reported);

// The packets that took longest.
ReportTable SlowestTable(const ReportedRun& reported);

// Latencies of packets by the cycle of their injection.
ReportTable LatencyTable(const ReportedRun& reported);

// Fires by thread, with the names that the run gave them, most first.
ReportTable ThreadTable(const ReportedRun& reported);

}  // namespace marrowfin

#endif
