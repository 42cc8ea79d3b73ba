#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

#include "Core/VisTool.h"
#include "tests/Core/RecordingFile.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"

namespace {

using marrowfin::testing::ReadFile;
using marrowfin::testing::TempDir;
using marrowfin::testing::TraceBytes;
using marrowfin::testing::WriteFile;
using ::testing::ElementsAre;

std::string Bytes(std::initializer_list<int> values) { return {values.begin(), values.end()}; }

const char* const EXAMPLE = "raw 3 5 1 8 00000007 00000002";

void FillWithExample(BinaryEvent& record) {
  record.type = 3;
  record.cyc = 5;
  record.tid = 1;
  record.dataLength = 8;
  record.data = new uint32[2]{7, 2};
}

TEST(BinaryEventTest, ANewRecordIsEmptyAndHasNoPayload) {
  const BinaryEvent record;
  EXPECT_EQ(0u, record.type);
  EXPECT_EQ(0u, record.cyc);
  EXPECT_EQ(0u, record.tid);
  EXPECT_EQ(0u, record.dataLength);
  EXPECT_EQ(nullptr, record.data);
}

TEST(BinaryEventTest, TheFieldsStandInTheOrderOfTheRecord) {
  static_assert(!std::is_polymorphic_v<BinaryEvent>);
  static_assert(std::is_standard_layout_v<BinaryEvent>);
  static_assert(std::is_same_v<uint32, decltype(BinaryEvent::type)>);
  static_assert(std::is_same_v<Cycle, decltype(BinaryEvent::cyc)>);
  static_assert(std::is_same_v<uint32, decltype(BinaryEvent::tid)>);
  static_assert(std::is_same_v<uint32, decltype(BinaryEvent::dataLength)>);
  static_assert(std::is_same_v<uint32*, decltype(BinaryEvent::data)>);
  static_assert(std::is_unsigned_v<Cycle> && sizeof(Cycle) == 8);
  static_assert(std::is_unsigned_v<uint32> && sizeof(uint32) == 4);
  EXPECT_EQ(0u, offsetof(BinaryEvent, type));
  EXPECT_EQ(8u, offsetof(BinaryEvent, cyc));
  EXPECT_EQ(16u, offsetof(BinaryEvent, tid));
  EXPECT_EQ(20u, offsetof(BinaryEvent, dataLength));
  EXPECT_EQ(24u, offsetof(BinaryEvent, data));
}

TEST(BinaryEventTest, TheExampleRecordIsWrittenByteForByte) {
  const TempDir dir;
  BinaryEvent record;
  FillWithExample(record);
  File file(true);
  file.Open(dir.File("trace"), File::WRITE_FLAGS, File::DEFAULT_MODE);
  EXPECT_EQ(File::SUCCESS, record.Write(file));
  EXPECT_EQ(
      Bytes({0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 1, 0, 0, 0, 8, 0, 0, 0, 7, 0, 0, 0, 2}),
      ReadFile(dir.File("trace")));
  file.Close();
}

TEST(BinaryEventTest, TheExampleRecordIsReadBack) {
  const TempDir dir;
  WriteFile(dir.File("trace"), TraceBytes(EXAMPLE));
  File file(true);
  file.Open(dir.File("trace"), File::READ_FLAGS, File::DEFAULT_MODE);
  BinaryEvent record;
  EXPECT_EQ(File::SUCCESS, record.Read(file));
  EXPECT_EQ(3u, record.type);
  EXPECT_EQ(5u, record.cyc);
  EXPECT_EQ(1u, record.tid);
  ASSERT_EQ(8u, record.dataLength);
  EXPECT_EQ(7u, record.data[0]);
  EXPECT_EQ(2u, record.data[1]);
  EXPECT_EQ(File::END_OF_FILE, record.Read(file));
  file.Close();
}

TEST(BinaryEventTest, EveryNumberIsWrittenAndReadMostSignificantByteFirst) {
  const std::string bytes =
      Bytes({0x81, 0x02, 0x03, 0x84, 0x85, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x8C, 0x8D, 0x0E,
             0x0F, 0x90, 0x00, 0x00, 0x00, 0x08, 0x91, 0x12, 0x13, 0x94, 0x95, 0x16, 0x17, 0x98});
  BinaryEvent record;
  record.type = 0x81020384;
  record.cyc = 0x85060708090A0B8C;
  record.tid = 0x8D0E0F90;
  record.dataLength = 8;
  record.data = new uint32[2]{0x91121394, 0x95161798};
  RecordingFile written;
  EXPECT_EQ(File::SUCCESS, record.Write(written));
  EXPECT_EQ(bytes, written.bytes);

  RecordingFile file(bytes);
  BinaryEvent back;
  EXPECT_EQ(File::SUCCESS, back.Read(file));
  EXPECT_EQ(0x81020384u, back.type);
  EXPECT_EQ(0x85060708090A0B8Cu, back.cyc);
  EXPECT_EQ(0x8D0E0F90u, back.tid);
  ASSERT_EQ(8u, back.dataLength);
  EXPECT_EQ(0x91121394u, back.data[0]);
  EXPECT_EQ(0x95161798u, back.data[1]);
}

TEST(BinaryEventTest, ALongLengthIsWrittenMostSignificantByteFirst) {
  BinaryEvent record;
  record.dataLength = 0x00010204;
  record.data = new uint32[0x00010204 / 4]();
  RecordingFile file;
  EXPECT_EQ(File::SUCCESS, record.Write(file));
  EXPECT_EQ(Bytes({0, 1, 2, 4}), file.bytes.substr(16, 4));
  EXPECT_EQ(20u + 0x00010204, file.bytes.size());

  BinaryEvent back;
  EXPECT_EQ(File::SUCCESS, back.Read(file));
  EXPECT_EQ(0x00010204u, back.dataLength);
}

TEST(BinaryEventTest, ARecordIsFiveCallsInEitherDirection) {
  BinaryEvent record;
  FillWithExample(record);
  RecordingFile file;
  record.Write(file);
  EXPECT_THAT(file.calls, ElementsAre(4, 8, 4, 4, 8));
  file.calls.clear();
  BinaryEvent back;
  EXPECT_EQ(File::SUCCESS, back.Read(file));
  EXPECT_THAT(file.calls, ElementsAre(4, 8, 4, 4, 8));
}

TEST(BinaryEventTest, ARecordWithoutPayloadIsTwentyBytesAndStillFiveCalls) {
  BinaryEvent record;
  record.type = 9;
  RecordingFile file;
  EXPECT_EQ(File::SUCCESS, record.Write(file));
  EXPECT_EQ(TraceBytes("raw 9 0 0 0"), file.bytes);
  EXPECT_THAT(file.calls, ElementsAre(4, 8, 4, 4, 0));
  file.calls.clear();
  BinaryEvent back;
  EXPECT_EQ(File::SUCCESS, back.Read(file));
  EXPECT_THAT(file.calls, ElementsAre(4, 8, 4, 4, 0));
  EXPECT_EQ(20u, file.position);
  EXPECT_EQ(nullptr, back.data);
}

TEST(BinaryEventTest, ARecordWithoutPayloadGoesThroughARealFile) {
  const TempDir dir;
  WriteFile(dir.File("trace"), TraceBytes("raw 9 8 7 0\nraw 6 5 4 0"));
  File file(true);
  file.Open(dir.File("trace"), File::READ_FLAGS, File::DEFAULT_MODE);
  BinaryEvent record;
  EXPECT_EQ(File::SUCCESS, record.Read(file));
  EXPECT_EQ(9u, record.type);
  EXPECT_EQ(File::SUCCESS, record.Read(file));
  EXPECT_EQ(6u, record.type);
  EXPECT_EQ(nullptr, record.data);
  file.Close();
}

TEST(BinaryEventTest, WritingLeavesTheRecordAsItWas) {
  BinaryEvent record;
  FillWithExample(record);
  const uint32* data = record.data;
  RecordingFile file;
  record.Write(file);
  EXPECT_EQ(3u, record.type);
  EXPECT_EQ(5u, record.cyc);
  EXPECT_EQ(1u, record.tid);
  EXPECT_EQ(8u, record.dataLength);
  EXPECT_EQ(data, record.data);
  EXPECT_EQ(7u, record.data[0]);
  EXPECT_EQ(2u, record.data[1]);
  record.Write(file);
  EXPECT_EQ(TraceBytes(EXAMPLE) + TraceBytes(EXAMPLE), file.bytes);
}

// What the file holds for a payload of `length` bytes 1, 2, 3...: whole words turned round on this
// host, the tail as it is.
std::string TurnedPayload(const std::string& memory) {
  std::string turned = memory;
  for (size_t i = 0; i + 4 <= memory.size(); i += 4) {
    uint32 word;
    memcpy(&word, memory.data() + i, 4);
    for (int b = 0; b < 4; ++b) {
      turned[i + b] = static_cast<char>(word >> (24 - 8 * b));
    }
  }
  return turned;
}

TEST(BinaryEventTest, OfALengthThatIsNoMultipleOfFourTheTailIsWrittenAsItIs) {
  for (uint32 length = 1; length <= 13; ++length) {
    std::string memory;
    for (uint32 i = 0; i < length; ++i) {
      memory += static_cast<char>(i + 1);
    }
    BinaryEvent record;
    record.dataLength = length;
    record.data = new uint32[(length + 3) / 4];
    memcpy(record.data, memory.data(), length);
    RecordingFile file;
    EXPECT_EQ(File::SUCCESS, record.Write(file));
    EXPECT_EQ(TurnedPayload(memory), file.bytes.substr(20)) << length;
    EXPECT_EQ(length, file.calls.back());
  }
}

TEST(BinaryEventTest, OfALengthThatIsNoMultipleOfFourTheTailIsReadAsItIs) {
  for (uint32 length = 1; length <= 13; ++length) {
    std::string payload;
    for (uint32 i = 0; i < length; ++i) {
      payload += static_cast<char>(i + 1);
    }
    RecordingFile file(TraceBytes("raw 9 0 0 " + std::to_string(length)) + payload);
    BinaryEvent record;
    EXPECT_EQ(File::SUCCESS, record.Read(file));
    ASSERT_EQ(length, record.dataLength);
    EXPECT_EQ(TurnedPayload(payload), std::string(reinterpret_cast<char*>(record.data), length));
    EXPECT_EQ(20u + length, file.position);
  }
}

TEST(BinaryEventTest, WritingStopsAtTheFirstCallThatFailsAndReturnsItsStatus) {
  for (File::FileStatus failure : {File::ERROR, File::END_OF_FILE}) {
    for (size_t call = 1; call <= 5; ++call) {
      BinaryEvent record;
      FillWithExample(record);
      RecordingFile file;
      file.failingCall = call;
      file.failure = failure;
      EXPECT_EQ(failure, record.Write(file)) << call;
      EXPECT_EQ(call, file.calls.size());
      EXPECT_EQ(TraceBytes(EXAMPLE).substr(0, file.bytes.size()), file.bytes);
    }
  }
}

TEST(BinaryEventTest, ReadingStopsAtTheFirstCallThatFailsAndReturnsItsStatus) {
  for (File::FileStatus failure : {File::ERROR, File::END_OF_FILE}) {
    for (size_t call = 1; call <= 5; ++call) {
      BinaryEvent record;
      RecordingFile file(TraceBytes(EXAMPLE));
      file.failingCall = call;
      file.failure = failure;
      EXPECT_EQ(failure, record.Read(file)) << call;
      EXPECT_EQ(call, file.calls.size());
    }
  }
}

TEST(BinaryEventTest, ARecordCutAtAnyByteReadsAsTheEndOfTheFile) {
  const TempDir dir;
  const std::string bytes = TraceBytes(EXAMPLE);
  for (size_t size = 0; size < bytes.size(); ++size) {
    WriteFile(dir.File("trace"), bytes.substr(0, size));
    File file(true);
    file.Open(dir.File("trace"), File::READ_FLAGS, File::DEFAULT_MODE);
    BinaryEvent record;
    EXPECT_EQ(File::END_OF_FILE, record.Read(file)) << "cut at byte " << size;
    file.Close();
  }
}

TEST(BinaryEventTest, ALengthBeyondTheEndOfTheFileReadsAsTheEndOfTheFile) {
  RecordingFile file(TraceBytes("raw 3 0 0 16777216 00 01 02 03"));
  BinaryEvent record;
  EXPECT_EQ(File::END_OF_FILE, record.Read(file));
  EXPECT_EQ(16777216u, file.calls.back());
}

TEST(BinaryEventTest, ReadingReplacesThePayloadOfAnEarlierRecord) {
  RecordingFile file(
      TraceBytes("raw 4 0 0 16 00000001 00000002 00000003 00000004\n"
                 "raw 3 0 0 8 00000005 00000006\n"
                 "raw 9 0 0 0\n"));
  BinaryEvent record;
  record.Read(file);
  EXPECT_THAT(std::vector<uint32>(record.data, record.data + 4), ElementsAre(1, 2, 3, 4));
  record.Read(file);
  EXPECT_THAT(std::vector<uint32>(record.data, record.data + 2), ElementsAre(5, 6));
  record.Read(file);
  EXPECT_EQ(nullptr, record.data);
}

TEST(BinaryEventTest, AWrittenRecordReadsBackEqualWhateverItsLength) {
  for (uint32 length = 0; length <= 70; ++length) {
    BinaryEvent record;
    record.type = length;
    record.cyc = 0xFEDCBA9876543210 + length;
    record.tid = ~length;
    record.dataLength = length;
    record.data = new uint32[(length + 3) / 4];
    char* payload = reinterpret_cast<char*>(record.data);
    for (uint32 i = 0; i < length; ++i) {
      payload[i] = static_cast<char>(37 * i + length);
    }
    RecordingFile file;
    ASSERT_EQ(File::SUCCESS, record.Write(file));
    EXPECT_EQ(20 + length, file.bytes.size());
    BinaryEvent back;
    ASSERT_EQ(File::SUCCESS, back.Read(file));
    EXPECT_EQ(record.type, back.type);
    EXPECT_EQ(record.cyc, back.cyc);
    EXPECT_EQ(record.tid, back.tid);
    ASSERT_EQ(length, back.dataLength);
    EXPECT_TRUE(std::equal(payload, payload + length, reinterpret_cast<char*>(back.data)));
  }
}

}  // namespace
