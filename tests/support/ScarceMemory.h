#ifndef TESTS_SUPPORT_SCARCEMEMORY_H
#define TESTS_SUPPORT_SCARCEMEMORY_H

#include <functional>
#include <string>
#include <vector>

#include "tests/support/Command.h"

namespace marrowfin::testing {

// Whether the programs of this build can be without memory: sanitizers replace what allocates, and
// what counts lines allocates when a process ends, without a look at what it gets.
#if defined(__SANITIZE_ADDRESS__) || defined(MARROWFIN_COUNTS_LINES)
constexpr bool MEMORY_CAN_BE_SCARCE = false;
#else
constexpr bool MEMORY_CAN_BE_SCARCE = true;
#endif

// Runs a program again and again, each time with memory that runs out at another of its
// allocations, `places` of them all over the run and in its first and last ones: once with nothing
// left from there on, and once with that allocation alone refused. `check` sees how each run ended,
// and what it was. Where MEMORY_CAN_BE_SCARCE is false nothing is run.
void RunWithScarceMemory(
    const std::vector<std::string>& words, const CommandOptions& options, int places,
    const std::function<void(const CommandResult& result, const std::string& what)>& check);

}  // namespace marrowfin::testing

#endif
