#ifndef RENDER_REPORT_RUNNUMBERS_H
#define RENDER_REPORT_RUNNUMBERS_H

#include "render/report/ReportTable.h"
#include "render/report/ReportedRun.h"

namespace marrowfin {

// The numbers of a run on one page: what, value, and of what in which unit.
ReportTable RunNumbers(const ReportedRun& reported);

}  // namespace marrowfin

#endif
