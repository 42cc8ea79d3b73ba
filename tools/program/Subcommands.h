#ifndef TOOLS_PROGRAM_SUBCOMMANDS_H
#define TOOLS_PROGRAM_SUBCOMMANDS_H

#include <vector>

#include "tools/program/Subcommand.h"

namespace marrowfin {

// All subcommands, in the order in which --help lists them: those that the list in
// tools/CMakeLists.txt names, from which the table is made.
const std::vector<const Subcommand*>& Subcommands();

}  // namespace marrowfin

#endif
