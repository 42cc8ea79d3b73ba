#ifndef RENDER_REPORT_REPORTPAGE_H
#define RENDER_REPORT_REPORTPAGE_H

#include <string>

#include "render/plot/Theme.h"
#include "render/report/ReportedRun.h"
#include "trace/base/Result.h"

namespace marrowfin {

// A page about a run in HTML: what is to be known first in sentences, the numbers, pictures with
// the numbers behind them, and how it was made. It needs nothing beside itself, forbids itself to
// fetch anything, and is read without its script, which sorts tables. The same run makes the same
// bytes. SYSTEM where a picture cannot be drawn.
[[nodiscard]] Result<std::string> ReportPage(const ReportedRun& reported,
                                             const Theme& theme = Theme::Light());

}  // namespace marrowfin

#endif
