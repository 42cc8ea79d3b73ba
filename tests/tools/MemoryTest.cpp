// What happens when memory runs out.

#include <cstdint>

#include "tests/tools/Allocations.h"
#include "tests/tools/ImportFixture.h"

namespace marrowfin {
namespace {

using MemoryTest = ImportFixture;

TEST_F(MemoryTest, RunningOutOfMemoryIsAFailureThatLeavesNothing) {
  std::string json = "[" + Event(R"("type":"WRITE_FLUSH")");
  for (int i = 0; i < 40000; ++i) {
    json += "," + Event(R"("type":"WRITE_FLUSH")");
  }
  testing::WriteFile(Capture(), json + "]");
  largestAllocation = 1'000'000;
  const int status = Run({"import", "--format", "tt-npe", Capture(), "-o", Trace()});
  largestAllocation = SIZE_MAX;
  EXPECT_EQ(3, status);
  EXPECT_EQ("marrowfin-trace: out of memory\n  Use a smaller input or a larger machine.\n", err);
  ExpectNothingLeft();
}

}  // namespace
}  // namespace marrowfin
