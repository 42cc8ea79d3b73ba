// What is taken from the heap: this program counts it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "Core/Component.h"
#include "Core/VisTool.h"
#include "tests/Core/RecordingFile.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"

namespace {

// Arrays are counted apart from single objects, so that giving one back as the other shows.
struct Heap {
  long objects = 0;      // in use
  long arrays = 0;       // in use
  long mostBlocks = 0;   // of both, in use at a time
  size_t largest = 0;    // bytes of the largest block asked for
  size_t limit = ~0ULL;  // larger blocks are refused
};

Heap heap;

void* Take(size_t size, long& count) {
  heap.largest = std::max(heap.largest, size);
  if (size > heap.limit) {
    throw std::bad_alloc();
  }
  void* block = malloc(size == 0 ? 1 : size);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  ++count;
  heap.mostBlocks = std::max(heap.mostBlocks, heap.objects + heap.arrays);
  return block;
}

void GiveBack(void* block, long& count) {
  if (block != nullptr) {
    --count;
    free(block);
  }
}

}  // namespace

void* operator new(size_t size) { return Take(size, heap.objects); }
void* operator new[](size_t size) { return Take(size, heap.arrays); }
void operator delete(void* block) noexcept { GiveBack(block, heap.objects); }
void operator delete(void* block, size_t) noexcept { GiveBack(block, heap.objects); }
void operator delete[](void* block) noexcept { GiveBack(block, heap.arrays); }
void operator delete[](void* block, size_t) noexcept { GiveBack(block, heap.arrays); }

namespace {

using marrowfin::testing::ReadFile;
using marrowfin::testing::TempDir;
using marrowfin::testing::TraceBytes;
using marrowfin::testing::WriteFile;

// Whether nothing more is in use than when it was made.
class Balance {
 public:
  Balance() : objects(heap.objects), arrays(heap.arrays) {}
  void Expect() const {
    EXPECT_EQ(objects, heap.objects);
    EXPECT_EQ(arrays, heap.arrays);
  }

 private:
  long objects;
  long arrays;
};

TEST(MemoryTest, ARecordFreesItsPayloadWhenItGoes) {
  const Balance balance;
  {
    BinaryEvent record;
    record.data = new uint32[2];
  }
  balance.Expect();
}

TEST(MemoryTest, ReadingIntoARecordFreesItsEarlierPayload) {
  RecordingFile file(
      TraceBytes("raw 3 0 0 8 00000001 00000002\nraw 4 0 0 16 00000001 00000002"
                 "00000003 00000004\nraw 9 0 0 0\nraw 3 0 0 8 00000000"));
  file.calls.reserve(100);
  const Balance balance;
  {
    BinaryEvent record;
    EXPECT_EQ(File::SUCCESS, record.Read(file));
    EXPECT_EQ(File::SUCCESS, record.Read(file));
    EXPECT_EQ(File::SUCCESS, record.Read(file));
    balance.Expect();
    EXPECT_EQ(File::END_OF_FILE, record.Read(file));
  }
  balance.Expect();
}

TEST(MemoryTest, AnEventFreesTheEarlierPayloadOfTheRecordThatItFills) {
  const Location l(1, 2);
  const Balance balance;
  {
    BinaryEvent record;
    for (int i = 0; i < 3; ++i) {
      MessageSend(0, 0, l, l).ToBinaryEvent(record);
      PEFire(0, 0, l).ToBinaryEvent(record);
      VisToolEvent(0, 0).ToBinaryEvent(record);
    }
    balance.Expect();
    PEFire(0, 0, l).ToBinaryEvent(record);
  }
  balance.Expect();
}

TEST(MemoryTest, AnEventTakesAPayloadOfExactlyItsWords) {
  const Location l(1, 2);
  BinaryEvent location;
  heap.largest = 0;
  PEFire(0, 0, l).ToBinaryEvent(location);
  EXPECT_EQ(8u, heap.largest);
  BinaryEvent message;
  heap.largest = 0;
  MessageSend(0, 0, l, l).ToBinaryEvent(message);
  EXPECT_EQ(16u, heap.largest);
}

TEST(MemoryTest, APayloadIsTakenInWholeWordsAndNoMore) {
  for (uint32 length = 1; length <= 40; ++length) {
    RecordingFile file(TraceBytes("raw 9 0 0 " + std::to_string(length)));
    file.calls.reserve(100);
    heap.largest = 0;
    BinaryEvent record;
    record.Read(file);
    EXPECT_EQ((length + 3) / 4 * 4, heap.largest);
  }
}

TEST(MemoryTest, ALengthThatCannotBeAllocatedIsABadAllocation) {
  for (const char* length : {"4294967295", "4294967292", "2147483648"}) {
    RecordingFile file(TraceBytes(std::string("raw 3 0 0 ") + length));
    file.calls.reserve(100);
    const Balance balance;
    {
      BinaryEvent record;
      heap.limit = 1 << 20;
      EXPECT_THROW(record.Read(file), std::bad_alloc) << length;
      heap.limit = ~0ULL;
    }
    balance.Expect();
    EXPECT_GE(heap.largest, 2147483648U) << length;
  }
  EXPECT_EQ(4294967296U, heap.largest);
}

class ToolMemoryTest : public ::testing::Test {
 protected:
  ~ToolMemoryTest() override {
    tool.inFile.Close();
    tool.outFile.Close();
  }

  void Open(const std::string& bytes) {
    WriteFile(dir.File("trace"), bytes);
    tool.inFilename = dir.File("trace");
    tool.InitializeForRead();
  }

  TempDir dir;
  VisTool tool;
};

TEST_F(ToolMemoryTest, ReadingATraceHoldsNoMoreThanOneEventHoweverLongItIs) {
  const int repeats = 5000;
  const std::string some = TraceBytes("fire 1 0 0 0\nswitch 2 0 0 0\nsend 3 0 0 0 0 0");
  std::string bytes;
  for (int i = 0; i < repeats; ++i) {
    bytes += some;
  }
  Open(bytes);
  const Balance balance;
  heap.mostBlocks = heap.objects + heap.arrays;
  heap.largest = 0;
  const long before = heap.mostBlocks;
  int count = 0;
  VisToolEvent* event = nullptr;
  while (tool.ReadEvent(event) == File::SUCCESS) {
    ++count;
    delete event;
  }
  EXPECT_EQ(3 * repeats, count);
  balance.Expect();
  EXPECT_LE(heap.mostBlocks, before + 2);
  EXPECT_LE(heap.largest, 128u);
}

TEST_F(ToolMemoryTest, TheEndAndACutRecordLeaveNothingBehind) {
  const std::string bytes = TraceBytes("send 3 0 0 0 0 0");
  Open(bytes.substr(0, bytes.size() - 1));
  const Balance balance;
  VisToolEvent* event = nullptr;
  EXPECT_EQ(File::END_OF_FILE, tool.ReadEvent(event));
  EXPECT_EQ(File::END_OF_FILE, tool.ReadEvent(event));
  balance.Expect();
}

TEST_F(ToolMemoryTest, SkippingDestroysWhatItDiscards) {
  Open(TraceBytes("fire 1 0 0 0\nswitch 2 0 0 0\nsend 3 0 0 0 0 0\nfire 4 0 0 0"));
  const Balance balance;
  tool.SkipTo(3);
  balance.Expect();
  tool.SkipTo(9);
  balance.Expect();
}

TEST_F(ToolMemoryTest, WritingHoldsNothingWhetherItSucceedsOrNot) {
  tool.outFilename = dir.File("out");
  tool.InitializeForWrite();
  const Location l(1, 2);
  const Balance balance;
  for (int i = 0; i < 1000; ++i) {
    tool.WriteEvent(new PEFire(i, 0, l));
    tool.WriteEvent(new NetworkSwitchTransmission(i, 0, l));
    tool.WriteEvent(new MessageSend(i, 0, l, l));
    tool.WriteEvent(new VisToolEvent(i, 0));
  }
  balance.Expect();
  tool.outFile.Close();
  tool.outFile = File(false);
  EXPECT_EQ(File::ERROR, tool.WriteEvent(new PEFire(0, 0, l)));
  balance.Expect();
}

TEST(MemoryTest, AComponentGivesBackAllOfItsOwn) {
  const Balance balance;
  {
    Component child("a child with a name too long for the string's own storage");
    Component root("a root with a name too long for the string's own storage");
    root.AddChild(&child);
    root.AddReceiver(&child);
    unsigned long long counter;
    root.AddStat(&counter, "a counter with a name too long for the string's own storage", "", 0);
    root.FixUpStatNames();
    VisTool tool;
    root.AddChild(&tool);
    tool.FixUpCommandLineOptions();
    StatsPrinter printer("a file with a name too long for the string's own storage");
  }
  balance.Expect();
}

struct LargeMessage : Message {
  char contents[5000];
};

TEST(MemoryTest, ALargeMessageIsGivenBackAndASmallOnesBlockIsKept) {
  delete new Message;
  const Balance balance;
  heap.largest = 0;
  delete new LargeMessage;
  EXPECT_EQ(sizeof(LargeMessage), heap.largest);
  for (int i = 0; i < 1000; ++i) {
    delete new Message;
  }
  balance.Expect();
}

struct PooledMessage : Message {
  char contents[752];
};

TEST(MemoryTest, ABlockOfMessagesHasExactlyTheirSize) {
  heap.largest = 0;
  delete new PooledMessage;
  EXPECT_EQ(64 * sizeof(PooledMessage), heap.largest);
}

TEST(MemoryTest, ABufferGivesBackWhatItHeld) {
  delete new Message;
  const Balance balance;
  {
    MessageBuffer buffer;
    for (int i = 0; i < 100; ++i) {
      buffer.Push(new LargeMessage);
    }
    Message::Release(buffer.Pop());
  }
  balance.Expect();
}

}  // namespace
