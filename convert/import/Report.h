#ifndef CONVERT_IMPORT_REPORT_H
#define CONVERT_IMPORT_REPORT_H

#include <string>
#include <vector>

#include "convert/import/ArrayLayout.h"
#include "convert/import/Capture.h"
#include "convert/import/Conversion.h"

namespace marrowfin {

// What was read, what became of it and how to look at it.
struct ImportReport {
  std::string format;
  std::string input;
  std::string output;
  std::vector<std::string> companion;  // its files; empty where none was written
  std::string viewCommand;             // shows the output; empty where nothing does
  const Capture& capture;
  const ArrayLayout& layout;
  const Account& account;
  ArrayShape shape;  // that a viewer shows
};

// For people and for programs. Both end in a line feed.
std::string ReportAsText(const ImportReport& report);
std::string ReportAsJson(const ImportReport& report);

}  // namespace marrowfin

#endif
