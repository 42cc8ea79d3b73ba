#include "tools/import/TraceWriter.h"

#include <gtest/gtest.h>

#include "Core/VisTool.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "tests/tools/TraceRecords.h"

namespace marrowfin {
namespace {

class TraceWriterTest : public ::testing::Test {
 protected:
  TraceWriterTest() : path(folder.File("out.trace")) {}

  testing::TempDir folder;
  std::string path;
  OutputFile output;
};

TEST_F(TraceWriterTest, AFireAndAMessageAreTheseBytes) {
  ASSERT_FALSE(output.Open(path));
  TraceWriter writer(output);
  writer.Fire(0x123456789abcdef0, 7, {1, 0xfffffffe});
  writer.Message(5, 8, {1, 2}, {3, 4});
  ASSERT_FALSE(writer.Finish());
  ASSERT_FALSE(output.Commit());
  EXPECT_EQ(testing::TraceBytes("fire 1311768467463790320 7 1 4294967294\nsend 5 8 1 2 3 4"),
            testing::ReadFile(path));
  EXPECT_EQ(1u, writer.Fires());
  EXPECT_EQ(1u, writer.Messages());
}

// Long enough to fill the writer's buffer several times.
TEST_F(TraceWriterTest, TheBytesAreThoseOfTheTraceTool) {
  VisTool tool;
  tool.outFilename = folder.File("expected.trace");
  tool.InitializeForWrite();
  ASSERT_FALSE(output.Open(path));
  TraceWriter writer(output);
  for (uint32 i = 0; i < 30000; ++i) {
    const Cycle cycle = i * 1'000'000'007ull;
    tool.WriteEvent(new PEFire(cycle, i % 7, Location(i, i + 1)));
    writer.Fire(cycle, i % 7, {i + 1, i});
    tool.WriteEvent(new MessageSend(cycle, i, Location(i, i + 1), Location(i + 2, i + 3)));
    writer.Message(cycle, i, {i + 1, i}, {i + 3, i + 2});
  }
  tool.outFile.Close();
  ASSERT_FALSE(writer.Finish());
  ASSERT_FALSE(output.Commit());
  EXPECT_TRUE(testing::ReadFile(tool.outFilename) == testing::ReadFile(path));
}

TEST_F(TraceWriterTest, TheFirstFailureIsKeptAndEndsTheWriting) {
  ASSERT_FALSE(output.Open("/dev/full"));
  TraceWriter writer(output);
  for (uint32 i = 0; !writer.Failed(); ++i) {
    ASSERT_LT(i, 100000u);
    writer.Fire(i, 0, {0, 0});
  }
  writer.Fire(0, 0, {0, 0});
  const MaybeFailure failure = writer.Finish();
  ASSERT_TRUE(failure);
  EXPECT_EQ("/dev/full: cannot write: No space left on device", failure->reason);
}

}  // namespace
}  // namespace marrowfin
