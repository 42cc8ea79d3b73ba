// Only where the examples are built.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/Command.h"
#include "tests/trace/read/ToolAgreement.h"

namespace marrowfin::testing {
namespace {

TEST_F(TraceToolTest, TraceOfTheExampleIsReadAlike) {
  const CommandResult run = RunCommand({SYSTOLIC_MATMUL, "-.*rows", "8", "-.*inner", "8",
                                        "-.*columns", "8", "-.*outFilename", Trace()});
  ASSERT_EQ(run.exitStatus, 0) << run.out << run.err;
  ExpectWholeTraceIsReadAlike(Trace());
}

}  // namespace
}  // namespace marrowfin::testing
