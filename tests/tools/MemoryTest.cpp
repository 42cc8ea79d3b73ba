// What happens when memory runs out.

#include <cstdint>
#include <ostream>
#include <streambuf>

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

// Whatever allocation is the first that fails, the program says so and ends by itself.
TEST_F(MemoryTest, RunningOutOfMemoryAnywhereIsAFailure) {
  testing::WriteFile(Trace(), testing::TraceBytes("fire 1 0 0 0\nsend 2 0 0 0 7 7\n"));
  const std::vector<std::vector<std::string>> lines = {
      {"info", Trace()},
      {"check", Trace()},
      {"index", Trace()},
      {"state", Trace(), "--cycle", "2", "--json"},
      {"state", Trace(), "--cycle", "2", "--places"},
      {"events", Trace()},
      {"events", Trace(), "--format", "jsonl", "--last", "1", "-o", folder.File("listed"),
       "--force"},
      {"synth", "-o", folder.File("made"), "--force", "--records", "10"},
  };
  for (const std::vector<std::string>& line : lines) {
    int failed = 0;
    for (const size_t most : {16, 64, 100, 200, 1000, 10'000, 100'000, 1'000'000, 100'000'000}) {
      std::ostringstream outStream;
      std::ostringstream errStream;
      // The text of the failure has to fit.
      errStream.str(std::string(4096, ' '));
      largestAllocation = most;
      const int status = RunProgram(line, {outStream, errStream, nullptr});
      largestAllocation = SIZE_MAX;
      EXPECT_TRUE(status == 0 || status == 3) << line[0] << " " << most;
      failed += status == 3 ? 1 : 0;
    }
    EXPECT_GE(failed, 3) << line[0];
  }
}

// The picture of a large array takes the memory of its colours: 3 bytes each, here 12 MB, where the
// text has 40 MB.
TEST_F(MemoryTest, JsonOfALargeStateIsNeverInMemoryAsAWhole) {
  class Counter : public std::streambuf {
   public:
    uint64_t bytes = 0;

   protected:
    int_type overflow(int_type c) override {
      ++bytes;
      return traits_type::not_eof(c);
    }
    std::streamsize xsputn(const char*, std::streamsize size) override {
      bytes += static_cast<uint64_t>(size);
      return size;
    }
  };
  testing::WriteFile(Trace(), testing::TraceBytes("fire 1 0 0 0\nsend 2 0 0 0 7 7\n"));
  Counter counter;
  std::ostream outStream(&counter);
  std::ostringstream errStream;
  largestAllocation = 16'000'000;
  const int status = RunProgram({"state", Trace(), "--cycle", "2", "-c", "256", "--json"},
                                {outStream, errStream, nullptr});
  largestAllocation = SIZE_MAX;
  EXPECT_EQ(0, status) << errStream.str();
  EXPECT_GT(counter.bytes, 40'000'000u);
}

}  // namespace
}  // namespace marrowfin
