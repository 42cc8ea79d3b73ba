#ifndef TOOLS_PROGRAM_SUBCOMMANDS_H
#define TOOLS_PROGRAM_SUBCOMMANDS_H

#include <vector>

#include "tools/program/Subcommand.h"

namespace marrowfin {

// All subcommands, in the order in which --help lists them: those that the list in
// tools/CMakeLists.txt names, from which the table is made.
const std::vector<const Subcommand*>& Subcommands();

// The kinds of `plot`, likewise: each is a source of tools/commands/plot.
const std::vector<const Subcommand*>& PlotKinds();

}  // namespace marrowfin

#endif
