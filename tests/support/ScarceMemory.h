#ifndef TESTS_SUPPORT_SCARCEMEMORY_H
#define TESTS_SUPPORT_SCARCEMEMORY_H

#include <functional>
#include <string>
#include <vector>

#include "tests/support/Command.h"

namespace marrowfin::testing {

// Runs a program again and again, each time with memory that runs out at another of its
// allocations, `places` of them all over the run and in its first and last ones: once with nothing
// left from there on, and once with that allocation alone refused. `check` sees how each run ended,
// and what it was. Sanitizers replace what allocates, so there is nothing to run in their builds.
void RunWithScarceMemory(
    const std::vector<std::string>& words, const CommandOptions& options, int places,
    const std::function<void(const CommandResult& result, const std::string& what)>& check);

}  // namespace marrowfin::testing

#endif
