#ifndef TOOLS_PROGRAM_PROGRAM_H
#define TOOLS_PROGRAM_PROGRAM_H

#include <string>
#include <vector>

#include "tools/program/Completion.h"
#include "tools/program/Subcommand.h"

namespace marrowfin {

// The whole of marrowfin-trace but for the process: parses `arguments` (without the program's
// name), runs the subcommand they name, prints its failure, and returns the exit status.
int RunProgram(const std::vector<std::string>& arguments, const Console& console);

// What its command lines may have, for shells that complete them.
CompletedCommand CompletedProgram();

}  // namespace marrowfin

#endif
