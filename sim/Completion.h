#ifndef SIM_COMPLETION_H
#define SIM_COMPLETION_H

#include <string>

#include "sim/OptionTable.h"

namespace marrowfin::sim {

// Scripts that complete the simulator's command lines, out of the options that it has: so that what
// a shell offers is what the program takes.
std::string BashCompletion(const OptionTable& options);
std::string ZshCompletion(const OptionTable& options);

// The script for a shell; empty for one that is not known.
std::string CompletionFor(const std::string& shell, const OptionTable& options);

}  // namespace marrowfin::sim

#endif
