#include "trace/write/Writer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <random>
#include <thread>

#include "Core/VisTool.h"
#include "tests/support/Files.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/marrowfin_trace.h"

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

bool WriteInPlainC(const std::string& name, const std::vector<Event>& events) {
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  for (const Event& event : events) {
    const Place at = event.at;
    if (event.type == FIRE_RECORD) {
      marrowfin_trace_fire(&trace, event.cycle, event.thread, at.row, at.column);
    } else if (event.type == SWITCH_RECORD) {
      // It is told the first position of the cluster and adds the offset, modulo 2^32.
      marrowfin_trace_switch(&trace, event.cycle, event.thread,
                             at.row - MARROWFIN_TRACE_SWITCH_OFFSET,
                             at.column - MARROWFIN_TRACE_SWITCH_OFFSET);
    } else {
      marrowfin_trace_send(&trace, event.cycle, event.thread, at.row, at.column, event.to.row,
                           event.to.column);
    }
  }
  return marrowfin_trace_close(&trace) == 0 && trace.records == events.size();
}

// Records of each type, each field of which takes on every number of bits, while those around it
// differ in every byte.
std::vector<Event> ValuesOfAllSizes() {
  std::vector<Event> events;
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    for (int bits = 0; bits <= 64; ++bits) {
      const uint64_t ones = bits == 0 ? 0 : ~uint64_t{0} >> (64 - bits);
      for (const uint64_t value : {ones, ones / 2 + 1, ones & 0xA5C3960FF0695A3C}) {
        const auto word = static_cast<uint32_t>(value);
        Event event = {type, 0x0102030405060708, 0x090A0B0C, {0x0D0E0F10, 0x11121314}, {}};
        if (type == SEND_RECORD) {
          event.to = {0x15161718, 0x191A1B1C};
        }
        std::vector<Event> variants(6, event);
        variants[0].cycle = value;
        variants[1].thread = word;
        variants[2].at.column = word;
        variants[3].at.row = word;
        if (type == SEND_RECORD) {
          variants[4].to.column = word;
          variants[5].to.row = word;
        }
        events.insert(events.end(), variants.begin(), variants.end());
      }
    }
  }
  return events;
}

TEST(WriterTest, ValuesOfAllSizesMakeTheBytesThatTheTraceToolWrites) {
  const TempDir folder;
  const std::vector<Event> events = ValuesOfAllSizes();
  const std::string bytes = WriteWithTraceTool(folder.File("tool"), events);
  EXPECT_TRUE(bytes == Encode(events));
  Writer writer;
  ASSERT_FALSE(writer.Open(folder.File("fast")));
  Write(writer, events);
  ASSERT_FALSE(writer.Close()) << writer.GetFault().Text();
  EXPECT_TRUE(ReadFile(folder.File("fast")) == bytes);
  ASSERT_TRUE(WriteInPlainC(folder.File("c"), events));
  EXPECT_TRUE(ReadFile(folder.File("c")) == bytes);
}

TEST(WriterTest, BytesAreThoseThatTheTraceToolWrites) {
  std::mt19937 random(1);
  const TempDir folder;
  const std::vector<Event> events = RandomEvents(random, {.records = 3000});
  for (const size_t buffer : {size_t{1}, size_t{36}, size_t{100}, size_t{4096}, size_t{1} << 20}) {
    Writer writer(buffer);
    ASSERT_FALSE(writer.Open(folder.File("fast")));
    Write(writer, events);
    ASSERT_FALSE(writer.Close()) << writer.GetFault().Text();
    EXPECT_EQ(writer.WholeRecords(), events.size());
    EXPECT_TRUE(ReadFile(folder.File("fast")) == WriteWithTraceTool(folder.File("tool"), events));
  }
}

TEST(WriterTest, SinkGetsTheBytesThatAFileWouldGet) {
  const std::vector<Event> events = ValuesOfAllSizes();
  MemorySink sink;
  Writer writer(4096);
  writer.Attach(sink);
  Write(writer, events);
  ASSERT_FALSE(writer.Close()) << writer.GetFault().Text();
  EXPECT_EQ(writer.WholeRecords(), events.size());
  EXPECT_EQ(std::string(sink.Bytes().begin(), sink.Bytes().end()), Encode(events));
}

// A sink that is full after some bytes.
class FullSink : public ByteSink {
 public:
  explicit FullSink(size_t room) : room(room) {}

  Written Write(const uint8_t* /*bytes*/, size_t size) override {
    const size_t taken = std::min(size, room);
    room -= taken;
    return {taken, taken == size ? Fault() : SystemFault("sink", "cannot write", ENOSPC)};
  }

 private:
  size_t room;
};

TEST(WriterTest, WholeRecordsThatASinkTookAreCountedWhereItIsFull) {
  FullSink sink(28 * 3 + 27);
  Writer writer;
  writer.Attach(sink);
  for (int i = 0; i < 10; ++i) {
    writer.Fire(1, 2, {3, 4});
  }
  EXPECT_EQ(writer.Flush().Text(), "sink: cannot write: No space left on device");
  EXPECT_EQ(writer.WholeRecords(), 3U);
  EXPECT_EQ(writer.WholeBytes(), 28U * 3);
  EXPECT_TRUE(writer.Close()) << "a fault stays";
}

TEST(WriterTest, SinkIsForgottenWhenItIsClosed) {
  MemorySink sink;
  Writer writer;
  writer.Attach(sink);
  writer.Fire(1, 2, {3, 4});
  ASSERT_FALSE(writer.Close());
  writer.Fire(5, 6, {7, 8});
  EXPECT_EQ(sink.Bytes().size(), 28U);
}

TEST(WriterTest, NothingIsLostWhenTheWriterGoes) {
  const TempDir folder;
  {
    Writer writer;
    ASSERT_FALSE(writer.Open(folder.File("t")));
    writer.Fire(1, 2, {3, 4});
    EXPECT_EQ(ReadFile(folder.File("t")), "");
    EXPECT_FALSE(writer.Flush());
    EXPECT_EQ(ReadFile(folder.File("t")).size(), 28U);
    writer.Switch(1, 2, {3, 4});
  }
  EXPECT_EQ(ReadFile(folder.File("t")).size(), 56U);
}

TEST(WriterTest, FileThatIsOpenIsWrittenOutBeforeAnotherIsOpened) {
  const TempDir folder;
  Writer writer;
  ASSERT_FALSE(writer.Open(folder.File("t")));
  for (int i = 0; i < 9; ++i) {
    writer.Fire(1, 2, {3, 4});
  }
  ASSERT_FALSE(writer.Open(folder.File("u")));
  EXPECT_EQ(ReadFile(folder.File("t")).size(), 252U);
  writer.Send(1, 2, {3, 4}, {5, 6});
  ASSERT_TRUE(writer.Open(folder.File("none/t")));
  EXPECT_EQ(writer.WholeRecords(), 0U);
  EXPECT_EQ(ReadFile(folder.File("u")).size(), 36U);
  writer.Fire(1, 2, {3, 4});
  EXPECT_TRUE(writer.Close());
  EXPECT_EQ(ReadFile(folder.File("u")).size(), 36U);
}

TEST(WriterTest, FileThatIsOpenedAgainHoldsWhatWasWrittenSinceThen) {
  const TempDir folder;
  Writer writer;
  ASSERT_FALSE(writer.Open(folder.File("t")));
  for (int i = 0; i < 9; ++i) {
    writer.Fire(1, 2, {3, 4});
  }
  ASSERT_FALSE(writer.Open(folder.File("t")));
  writer.Fire(7, 2, {3, 4});
  ASSERT_FALSE(writer.Close());
  EXPECT_EQ(writer.WholeRecords(), 1U);
  EXPECT_EQ(ReadFile(folder.File("t")), Encode({{FIRE_RECORD, 7, 2, {3, 4}, {}}}));
}

TEST(WriterTest, FolderThatIsMissingIsAFault) {
  const TempDir folder;
  Writer writer;
  EXPECT_TRUE(writer.Open(folder.File("none/t")));
  EXPECT_EQ(writer.GetFault().Text(),
            folder.File("none/t") + ": cannot write: No such file or directory");
}

TEST(WriterTest, FullDiskIsAFaultThatTellsHowManyWholeRecordsThereAre) {
  Writer writer(4096);
  ASSERT_FALSE(writer.Open("/dev/full"));
  for (int i = 0; i < 1000; ++i) {
    writer.Fire(1, 2, {3, 4});
  }
  EXPECT_TRUE(writer.Close());
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
  EXPECT_TRUE(writer.Flush());
  std::string got(8192, '\0');
  const ssize_t size = read(ends[0], got.data(), got.size());
  ASSERT_GT(size, 0);
  EXPECT_EQ(size % 28, 0) << "a pipe gets whole records";
  EXPECT_EQ(writer.WholeRecords(), static_cast<uint64_t>(size) / 28);
  close(ends[0]);
}

}  // namespace
}  // namespace marrowfin::testing
