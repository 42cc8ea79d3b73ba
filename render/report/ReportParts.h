#ifndef RENDER_REPORT_REPORTPARTS_H
#define RENDER_REPORT_REPORTPARTS_H

#include <string>
#include <string_view>

#include "render/plot/Theme.h"

namespace marrowfin {

// What every report has: how it looks, and a script that sorts its tables.

// The style, in the colours of a theme.
std::string ReportStyle(const Theme& theme);

std::string_view ReportScript();

// By what a page allows a script to run that stands in it: "sha256-...".
std::string ReportScriptHash();

}  // namespace marrowfin

#endif
