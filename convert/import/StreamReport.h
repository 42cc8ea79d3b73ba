#ifndef CONVERT_IMPORT_STREAMREPORT_H
#define CONVERT_IMPORT_STREAMREPORT_H

#include <optional>
#include <string>
#include <vector>

#include "convert/import/StreamImport.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// What was read as a stream, what became of it and how to look at it.
struct StreamReport {
  std::string format;
  std::string input;
  std::string output;
  std::vector<std::string> companion;  // its files; empty where none was written
  std::optional<ArrayShape> view;      // nothing where no array shows it
  std::string viewCommand;             // empty where nothing shows it
  const StreamAccount& account;
};

// For people and for programs. Both end in a line feed.
std::string ReportAsText(const StreamReport& report);
std::string ReportAsJson(const StreamReport& report);

}  // namespace marrowfin

#endif
