#ifndef RENDER_REPORT_REPORTFAULTS_H
#define RENDER_REPORT_REPORTFAULTS_H

#include <string>
#include <vector>

#include "render/report/ReportedRun.h"

namespace marrowfin {

// What is wrong with a trace and with what stands beside it, a line each.
std::vector<std::string> FaultsOf(const ReportedRun& reported);

}  // namespace marrowfin

#endif
