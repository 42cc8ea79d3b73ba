#ifndef TOOLS_PROGRAM_VIEWCOMMAND_H
#define TOOLS_PROGRAM_VIEWCOMMAND_H

#include <string>

#include "trace/base/ArrayShape.h"

namespace marrowfin {

// "-c 4 -d 2 -p 4".
std::string ShapeText(const ArrayShape& shape);

// The command that shows the trace in `file`, in words that a shell takes as they are.
std::string ViewCommand(const ArrayShape& shape, const std::string& file);

}  // namespace marrowfin

#endif
