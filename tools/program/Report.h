#ifndef TOOLS_PROGRAM_REPORT_H
#define TOOLS_PROGRAM_REPORT_H

#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"

namespace marrowfin {

constexpr char PROGRAM_NAME[] = "marrowfin-trace";

// Prints why the program ends without success or, where it goes on, what is worth knowing: a line
// under the program's name, and one with the remedy.
void Report(const Failure& failure, const Console& console);

}  // namespace marrowfin

#endif
