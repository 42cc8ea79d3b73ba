// What happens when memory runs out. The program's allocations are those of this test program,
// which refuses large ones on demand.

#include <cstdlib>
#include <new>

#include "tests/tools/ImportFixture.h"

namespace {

size_t largestAllocation = SIZE_MAX;

}  // namespace

void* operator new(size_t size) {
  void* const memory = size <= largestAllocation ? std::malloc(size) : nullptr;
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

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
