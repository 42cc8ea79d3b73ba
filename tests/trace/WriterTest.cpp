#include "trace/Writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <thread>

#include "Core/VisTool.h"
#include "tests/support/Files.h"
#include "tests/trace/RandomTrace.h"

namespace marrowfin::testing {
namespace {

void Write(Writer& writer, const std::vector<Event>& events) {
  for (const Event& event : events) {
    if (event.type == FIRE_RECORD) {
      writer.Fire(event.cycle, event.thread, event.at);
    } else if (event.type == SWITCH_RECORD) {
      writer.Switch(event.cycle, event.thread, event.at);
    } else {
      writer.Send(event.cycle, event.thread, event.at, event.to);
    }
  }
}

std::string WriteWithTraceTool(const std::string& name, const std::vector<Event>& events) {
  VisTool tool;
  tool.outFilename = name;
  tool.InitializeForWrite();
  for (const Event& event : events) {
    const Location at(event.at.row, event.at.column);
    const Location to(event.to.row, event.to.column);
    if (event.type == FIRE_RECORD) {
      tool.WriteEvent(new PEFire(event.cycle, event.thread, at));
    } else if (event.type == SWITCH_RECORD) {
      tool.WriteEvent(new NetworkSwitchTransmission(event.cycle, event.thread, at));
    } else {
      tool.WriteEvent(new MessageSend(event.cycle, event.thread, at, to));
    }
  }
  tool.outFile.Close();
  return ReadFile(name);
}

TEST(WriterTest, BytesAreThoseThatTheTraceToolWrites) {
  std::mt19937 random(1);
  const TempDir folder;
  const std::vector<Event> events = RandomEvents(random, {.records = 3000});
  for (const size_t buffer : {size_t{1}, size_t{36}, size_t{100}, size_t{4096}, size_t{1} << 20}) {
    Writer writer(buffer);
    ASSERT_TRUE(writer.Open(folder.File("fast")));
    Write(writer, events);
    ASSERT_TRUE(writer.Close()) << writer.GetFault().Text();
    EXPECT_EQ(writer.WholeRecords(), events.size());
    EXPECT_TRUE(ReadFile(folder.File("fast")) == WriteWithTraceTool(folder.File("tool"), events));
  }
}

TEST(WriterTest, NothingIsLostWhenTheWriterGoes) {
  const TempDir folder;
  {
    Writer writer;
    ASSERT_TRUE(writer.Open(folder.File("t")));
    writer.Fire(1, 2, {3, 4});
    EXPECT_EQ(ReadFile(folder.File("t")), "");
    EXPECT_TRUE(writer.Flush());
    EXPECT_EQ(ReadFile(folder.File("t")).size(), 28U);
    writer.Switch(1, 2, {3, 4});
  }
  EXPECT_EQ(ReadFile(folder.File("t")).size(), 56U);
}

TEST(WriterTest, FolderThatIsMissingIsAFault) {
  const TempDir folder;
  Writer writer;
  EXPECT_FALSE(writer.Open(folder.File("none/t")));
  EXPECT_EQ(writer.GetFault().Text(),
            folder.File("none/t") + ": cannot write: No such file or directory");
}

TEST(WriterTest, FullDiskIsAFaultThatTellsHowManyWholeRecordsThereAre) {
  Writer writer(4096);
  ASSERT_TRUE(writer.Open("/dev/full"));
  for (int i = 0; i < 1000; ++i) {
    writer.Fire(1, 2, {3, 4});
  }
  EXPECT_FALSE(writer.Close());
  EXPECT_EQ(writer.WholeRecords(), 0U);
  EXPECT_EQ(writer.GetFault().Text(),
            "/dev/full: cannot write: No space left on device; 0 whole records were written");
}

// A pipe that nobody reads takes a page and refuses the rest.
TEST(WriterTest, RecordsThatGotThereWholeAreCountedAfterAFailedWrite) {
  const TempDir folder;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  const int room = fcntl(ends[1], F_SETPIPE_SZ, 4096);
  ASSERT_EQ(room, 4096);
  Writer writer(64 << 10);
  writer.Attach(ends[1], "pipe");
  for (int i = 0; i < 1000; ++i) {
    writer.Fire(1, 2, {3, 4});
  }
  EXPECT_FALSE(writer.Flush());
  std::string got(8192, '\0');
  const ssize_t size = read(ends[0], got.data(), got.size());
  ASSERT_GT(size, 0);
  EXPECT_EQ(size % 28, 0) << "a pipe gets whole records";
  EXPECT_EQ(writer.WholeRecords(), static_cast<uint64_t>(size) / 28);
  close(ends[0]);
}

}  // namespace
}  // namespace marrowfin::testing
