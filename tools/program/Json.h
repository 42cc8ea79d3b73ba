#ifndef TOOLS_PROGRAM_JSON_H
#define TOOLS_PROGRAM_JSON_H

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"

namespace marrowfin {

// The text of what is printed with --json, a line feed behind it. Names of files may hold bytes
// that are no UTF-8: those are replaced. `indent` is -1 for a single line.
std::string JsonText(const nlohmann::json& json, int indent = 2);

// {"columns": 2, "rows": 1}.
nlohmann::json AsJson(PerAxis counts);

// The counts of clusters, domains and pes, each per axis.
nlohmann::json LevelsAsJson(const ArrayShape& shape);

// A fault without the file, which whoever prints it has named already.
nlohmann::json AsJson(const Fault& fault);

}  // namespace marrowfin

#endif
