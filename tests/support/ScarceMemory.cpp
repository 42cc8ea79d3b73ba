#include "tests/support/ScarceMemory.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/Files.h"

namespace marrowfin::testing {

namespace {

CommandResult RunPreloaded(const std::vector<std::string>& words, CommandOptions options,
                           const std::vector<std::string>& environment) {
  options.environment.emplace_back("LD_PRELOAD=" MARROWFIN_FAILING_MALLOC);
  options.environment.insert(options.environment.end(), environment.begin(), environment.end());
  return RunCommand(words, options);
}

long CountAllocations(const std::vector<std::string>& words, const CommandOptions& options) {
  const TempDir folder;
  const std::string file = folder.File("count");
  const CommandResult whole = RunPreloaded(words, options, {"FAILING_MALLOC_COUNT=" + file});
  EXPECT_EQ(0, whole.exitStatus) << whole.err;
  return std::stol("0" + ReadFile(file));
}

}  // namespace

void RunWithScarceMemory(
    const std::vector<std::string>& words, const CommandOptions& options, int places,
    const std::function<void(const CommandResult&, const std::string&)>& check) {
  if (!MEMORY_CAN_BE_SCARCE) {
    return;
  }
  const long all = CountAllocations(words, options);
  ASSERT_GT(all, places) << "the program allocates nothing";
  std::set<long> numbers = {0, all - 1};
  for (int place = 0; place < places; ++place) {
    numbers.insert(all * place / places);
  }
  for (const long number : numbers) {
    const std::string from = "FAILING_MALLOC_FROM=" + std::to_string(number);
    check(
        RunPreloaded(words, options, {from}),
        "without memory from allocation " + std::to_string(number) + " of " + std::to_string(all));
    check(RunPreloaded(words, options, {from, "FAILING_MALLOC_ONLY=1"}),
          "without allocation " + std::to_string(number) + " of " + std::to_string(all));
  }
}

}  // namespace marrowfin::testing
