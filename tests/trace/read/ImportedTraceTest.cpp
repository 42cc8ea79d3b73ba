// Only where the toolbox is built.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/Command.h"
#include "tests/trace/read/ToolAgreement.h"

namespace marrowfin::testing {
namespace {

// Captures of real hardware, from the folder that MARROWFIN_CAPTURES names.
TEST_F(TraceToolTest, ImportedCapturesAreReadAlike) {
  const char* const captures = std::getenv("MARROWFIN_CAPTURES");
  if (captures == nullptr || *captures == '\0') {
    GTEST_SKIP() << "captures: not given (set MARROWFIN_CAPTURES)";
  }
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(captures + std::string("/tt-npe"))) {
    if (entry.path().extension() == ".json") {
      SCOPED_TRACE(entry.path());
      const CommandResult run = RunCommand({MARROWFIN_TRACE, "import", "--format", "tt-npe",
                                            entry.path(), "-o", Trace(), "--force"});
      ASSERT_EQ(run.exitStatus, 0) << run.err;
      ExpectWholeTraceIsReadAlike(Trace());
      ++count;
    }
  }
  EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace marrowfin::testing
