#include "trace/write/ZstdSink.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Reader.h"
#include "trace/write/Writer.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

// What a reader of the trace engine makes of packed bytes.
std::string Unpacked(const std::string& name, uint64_t& whole) {
  Result<std::unique_ptr<ByteSource>> source = OpenSource(name);
  EXPECT_TRUE(source) << source.Why().Text();
  Reader reader(std::move(source).Take(), name);
  Columns columns;
  while (reader.Next(columns)) {
  }
  whole = reader.Records();
  return reader.GetFault() ? reader.GetFault().Text() : "";
}

class ZstdSinkTest : public ::testing::Test {
 protected:
  // Writes `count` records, which repeat themselves as those of programs do.
  void Record(Writer& writer, uint64_t from, uint64_t count) {
    for (uint64_t i = from; i < from + count; ++i) {
      const auto place = static_cast<uint32_t>(i % 61);
      writer.Send(i / 10, static_cast<uint32_t>(i % 4), {place, 1}, {2, place});
    }
  }

  TempDir folder;
  std::string name = folder.File("run.trace");
};

TEST_F(ZstdSinkTest, PackedTraceIsReadBackWhole) {
  MemorySink plain;
  {
    Writer writer;
    writer.Attach(plain);
    Record(writer, 0, 300000);
    EXPECT_FALSE(writer.Close());
  }
  MemorySink below;
  ZstdSink sink(below);
  Writer writer;
  writer.Attach(sink);
  Record(writer, 0, 300000);
  EXPECT_FALSE(writer.Close());
  EXPECT_FALSE(sink.Flush());
  EXPECT_EQ(plain.Bytes().size(), sink.RawBytes());
  EXPECT_EQ(below.Bytes().size(), sink.PackedBytes());
  EXPECT_LT(sink.PackedBytes() * 4, sink.RawBytes());
  WriteFile(name, std::string(below.Bytes().begin(), below.Bytes().end()));
  uint64_t records = 0;
  EXPECT_EQ("", Unpacked(name, records));
  EXPECT_EQ(300000U, records);
}

TEST_F(ZstdSinkTest, WhatWasFlushedSurvivesARunThatIsKilled) {
  MemorySink below;
  ZstdSink sink(below);
  Writer writer;
  writer.Attach(sink);
  Record(writer, 0, 5000);
  EXPECT_FALSE(writer.Flush());
  EXPECT_FALSE(sink.Flush());
  const size_t flushed = below.Bytes().size();
  Record(writer, 5000, 5000);
  EXPECT_FALSE(writer.Flush());
  WriteFile(name, std::string(below.Bytes().begin(), below.Bytes().end()));
  uint64_t records = 0;
  Unpacked(name, records);
  EXPECT_GE(records, 5000U);
  WriteFile(name, std::string(below.Bytes().begin(), below.Bytes().begin() + flushed));
  EXPECT_EQ("", Unpacked(name, records));
  EXPECT_EQ(5000U, records);
}

TEST_F(ZstdSinkTest, LongRunIsCutIntoFrames) {
  MemorySink below;
  ZstdSink sink(below);
  Writer writer;
  writer.Attach(sink);
  Record(writer, 0, 400000);
  EXPECT_FALSE(writer.Flush());
  // Some frames have ended by themselves, and can be read.
  WriteFile(name, std::string(below.Bytes().begin(), below.Bytes().end()));
  uint64_t records = 0;
  Unpacked(name, records);
  EXPECT_GT(records, 200000U);
}

TEST_F(ZstdSinkTest, FullDiskIsToldByWriterAndSink) {
  const int descriptor = open("/dev/full", O_WRONLY);
  ASSERT_NE(-1, descriptor);
  DescriptorSink below(descriptor, "/dev/full");
  ZstdSink sink(below);
  Writer writer;
  writer.Attach(sink);
  Record(writer, 0, 100000);
  static_cast<void>(writer.Close());
  const Fault fault = sink.Flush();
  EXPECT_THAT(fault.Text(), HasSubstr("No space left on device"));
  EXPECT_EQ(sink.Write(reinterpret_cast<const uint8_t*>("x"), 1).taken, 0U);
  close(descriptor);
}

TEST_F(ZstdSinkTest, NothingWrittenIsAnEmptyFile) {
  MemorySink below;
  {
    ZstdSink sink(below);
    EXPECT_FALSE(sink.Flush());
  }
  EXPECT_TRUE(below.Bytes().empty());
}

}  // namespace
}  // namespace marrowfin::testing
