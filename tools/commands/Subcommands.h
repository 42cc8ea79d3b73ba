#ifndef TOOLS_COMMANDS_SUBCOMMANDS_H
#define TOOLS_COMMANDS_SUBCOMMANDS_H

#include <vector>

#include "tools/program/Subcommand.h"

namespace marrowfin {

extern const Subcommand checkSubcommand;
extern const Subcommand importSubcommand;
extern const Subcommand indexSubcommand;
extern const Subcommand infoSubcommand;
extern const Subcommand stateSubcommand;
extern const Subcommand synthSubcommand;

// All subcommands, in the order in which --help lists them.
const std::vector<const Subcommand*>& Subcommands();

}  // namespace marrowfin

#endif
