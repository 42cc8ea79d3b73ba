#ifndef RENDER_REPORT_LINKTABLE_H
#define RENDER_REPORT_LINKTABLE_H

#include <string>

#include "measure/RunMeasures.h"
#include "render/report/ReportTable.h"

namespace marrowfin {

// "(3, 4)→(3, 3)": a link by the two nodes that it joins; of switches "cluster (0, 0)→(1, 0)".
std::string LinkName(const LinkMeasures& links, Place node, Heading heading);

// The links by load, the busiest first.
ReportTable LinkTable(const LinkMeasures& links, const std::string& file);

}  // namespace marrowfin

#endif
