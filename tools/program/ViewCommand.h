#ifndef TOOLS_PROGRAM_VIEWCOMMAND_H
#define TOOLS_PROGRAM_VIEWCOMMAND_H

#include <string>

#include "trace/base/ArrayShape.h"

namespace marrowfin {

// "-c 4 -d 2 -p 4".
std::string ShapeText(const ArrayShape& shape);

// "2 x 1 clusters of 1 x 1 domains of 8 x 4 elements", columns first.
std::string LevelsText(const ArrayShape& shape);

// As the flags of the viewer where they can say it, else as its levels.
std::string ArrayText(const ArrayShape& shape);

// A file as the command names it: what went to standard output gets its name from the user.
std::string ShownName(const std::string& file);

// The command that shows the trace in `file`, in words that a shell takes as they are.
std::string ViewCommand(const ArrayShape& shape, const std::string& file);

}  // namespace marrowfin

#endif
