#ifndef RENDER_REPORT_PDFPRINTER_H
#define RENDER_REPORT_PDFPRINTER_H

#include <functional>
#include <string>

#include "trace/base/Fault.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// Prints a page that needs nothing beside itself to PDF, by Chromium, a program of its own that
// must be in the PATH. When it was made is not in it: the same page gives the same bytes.
//
// Where anything fails nothing is written. `goOn` is asked now and then while Chromium works; false
// ends that, and the fault is CANCELLED. SYSTEM where Chromium is missing or fails.
[[nodiscard]] Fault PrintPdf(const std::string& html, ByteSink& sink,
                             const std::function<bool()>& goOn = {});

// Takes the dates out of a PDF; its length stays the same, since it tells of its parts where they
// are.
std::string WithoutDates(std::string pdf);

}  // namespace marrowfin

#endif
