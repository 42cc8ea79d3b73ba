#include "trace/read/TraceSource.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "tests/support/Files.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/RandomTrace.h"
#include "tests/trace/support/WatchedFile.h"
#include "trace/read/BlockWindow.h"
#include "trace/read/Residence.h"

namespace marrowfin::testing {
namespace {

namespace fs = std::filesystem;

std::string Trace(size_t records) {
  std::mt19937 random(1);
  RandomTraceOptions options;
  options.records = records;
  return Encode(RandomEvents(random, options));
}

std::unique_ptr<PositionedFile> Plain(const std::string& name, PlainAccess access) {
  Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, access);
  EXPECT_TRUE(file) << file.Why().Text();
  return file ? std::move(file).Take() : nullptr;
}

std::unique_ptr<PositionedFile> InMemory(const std::string& bytes) {
  return MemoryFile(std::vector<uint8_t>(bytes.begin(), bytes.end()), "memory");
}

std::unique_ptr<TraceSource> Over(std::unique_ptr<PositionedFile> file) {
  Result<std::unique_ptr<TraceSource>> source = TraceSource::Over(std::move(file));
  EXPECT_TRUE(source) << source.Why().Text();
  return source ? std::move(source).Take() : nullptr;
}

// A file that has no view of itself and counts what is read of it.
class Counting : public WatchedFile {
 public:
  explicit Counting(const std::string& bytes)
      : WatchedFile(bytes, [this](uint64_t /*offset*/, size_t length) {
          reads += length > 100 ? 1 : 0;
          largest = std::max<size_t>(largest, length);
        }) {}

  std::atomic<int> reads = 0;
  std::atomic<size_t> largest = 0;
};

// What a source says of its batches, from the front.
struct Decoded {
  std::vector<uint64_t> ends;
  std::vector<uint64_t> cycles;
  std::vector<Place> places;
  std::string end;
  friend bool operator==(const Decoded&, const Decoded&) = default;
};

Decoded DecodeAll(const TraceSource& source) {
  auto columns = std::make_unique<Columns>();
  Decoded decoded;
  for (uint64_t offset = 0;;) {
    const Result<uint64_t> next = source.Decode(offset, source.Size(), *columns);
    if (!next) {
      decoded.end = next.Why().reason;
      return decoded;
    }
    offset = *next;
    decoded.ends.push_back(offset);
    decoded.cycles.insert(decoded.cycles.end(), columns->cycle, columns->cycle + columns->size);
    decoded.places.insert(decoded.places.end(), columns->to, columns->to + columns->size);
  }
}

TEST(TraceSourceTest, BatchesAreTheSameWhateverTheBytesAreIn) {
  const TempDir folder;
  // Whole; cut within a record; broken within the second block.
  const std::string whole = Trace(30000);
  std::string broken = whole;
  broken.replace(500000, 40, 40, 'x');
  for (const std::string& bytes : {whole, whole.substr(0, whole.size() - 5), broken}) {
    WriteFile(folder.File("t"), bytes);
    const Decoded expected = DecodeAll(*Over(InMemory(bytes)));
    EXPECT_GT(expected.cycles.size(), 10000U);
    EXPECT_EQ(DecodeAll(*Over(Plain(folder.File("t"), PlainAccess::MAPPED))), expected);
    EXPECT_EQ(DecodeAll(*Over(Plain(folder.File("t"), PlainAccess::READ))), expected);
    EXPECT_EQ(DecodeAll(*Over(std::make_unique<Counting>(bytes))), expected);
  }
}

TEST(TraceSourceTest, BatchThatBeginsAtAnyByteOfABlockIsFull) {
  const std::string bytes = Trace(30000);
  const auto viewed = Over(InMemory(bytes));
  const auto read = Over(std::make_unique<Counting>(bytes));
  auto columns = std::make_unique<Columns>();
  auto other = std::make_unique<Columns>();
  uint64_t offset = 0;
  for (size_t record = 0; record + 300 < 30000; ++record) {
    ASSERT_TRUE(read->Decode(offset, bytes.size(), *columns));
    ASSERT_EQ(columns->size, Columns::CAPACITY) << "at byte " << offset;
    const Result<uint64_t> one = viewed->Decode(offset, offset + LARGE_RECORD, *other);
    offset += RecordSize(columns->tag[0].type);
    ASSERT_TRUE(one);
  }
}

TEST(TraceSourceTest, BlockIsReadOnceWhileItIsInUse) {
  const std::string bytes = Trace(30000);
  auto file = std::make_unique<Counting>(bytes);
  const Counting& counting = *file;
  const auto source = Over(std::move(file));
  const int blocks = static_cast<int>(bytes.size() / BlockWindow::BLOCK) + 1;
  ASSERT_LT(blocks, static_cast<int>(BlockWindow::BLOCKS));
  DecodeAll(*source);
  DecodeAll(*source);
  EXPECT_EQ(counting.reads, blocks);
  EXPECT_EQ(counting.largest, BlockWindow::BLOCK + BlockWindow::OVERLAP);
}

TEST(TraceSourceTest, BlockUsedLongestAgoGoesFirst) {
  const std::string bytes(20 * BlockWindow::BLOCK, 'x');
  const Counting file(bytes);
  BlockWindow window(file);
  for (size_t block = 0; block < BlockWindow::BLOCKS; ++block) {
    ASSERT_TRUE(window.At(block * BlockWindow::BLOCK + 7));
  }
  ASSERT_TRUE(window.At(0));
  ASSERT_TRUE(window.At(17 * BlockWindow::BLOCK));
  EXPECT_EQ(file.reads, 17);
  ASSERT_TRUE(window.At(0));
  EXPECT_EQ(file.reads, 17);
  ASSERT_TRUE(window.At(BlockWindow::BLOCK));
  EXPECT_EQ(file.reads, 18);
}

TEST(TraceSourceTest, ThreadsReadTheSameThroughOneSource) {
  const std::string bytes = Trace(200000);  // more blocks than are kept
  const auto source = Over(std::make_unique<Counting>(bytes));
  const Decoded expected = DecodeAll(*Over(InMemory(bytes)));
  std::vector<Decoded> decoded(3);
  std::vector<std::thread> threads;
  for (Decoded& result : decoded) {
    threads.emplace_back([&] { result = DecodeAll(*source); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_TRUE(decoded[0] == expected && decoded[1] == expected && decoded[2] == expected);
}

TEST(TraceSourceTest, PackedDataIsRefusedInAnyFile) {
  const std::string packed("\x1f\x8b\x08 and what follows", 20);
  const Result<std::unique_ptr<TraceSource>> source = TraceSource::Over(InMemory(packed));
  ASSERT_FALSE(source);
  EXPECT_EQ(source.Why().Text(),
            "memory: a packed trace cannot be read out of order; copy or unpack it into a plain "
            "file");
}

TEST(TraceSourceTest, FileThatBecomesShorterIsAFaultThatSaysSo) {
  const TempDir folder;
  const std::string bytes = Trace(60000);
  for (const PlainAccess access : {PlainAccess::MAPPED, PlainAccess::READ}) {
    WriteFile(folder.File("t"), bytes);
    const auto source = Over(Plain(folder.File("t"), access));
    EXPECT_TRUE(source->IsUntouched());
    fs::resize_file(folder.File("t"), bytes.size() / 2);
    EXPECT_EQ(DecodeAll(*source).end, "the file became shorter while it was read");
    EXPECT_FALSE(source->IsUntouched());
    EXPECT_EQ(source->CheckUnchanged().kind, Fault::CHANGED);
    uint8_t last = 0;
    EXPECT_EQ(source->Copy(bytes.size() - 1, 1, &last).kind, Fault::CHANGED);
  }
}

TEST(TraceSourceTest, WhatIsNoPlainFileIsRefused) {
  const TempDir folder;
  ASSERT_EQ(mkfifo(folder.File("fifo").c_str(), 0600), 0);
  const std::pair<std::string, std::string> refused[] = {
      {folder.File("fifo"), "a pipe or device cannot be read out of order"},
      {"/dev/null", "a pipe or device cannot be read out of order"},
      {folder.Path(), "cannot read: Is a directory"},
      {folder.File("none"), "cannot open: No such file or directory"},
  };
  for (const auto& [name, reason] : refused) {
    const Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::MAPPED);
    ASSERT_FALSE(file) << name;
    EXPECT_EQ(file.Why().reason, reason);
  }
}

// Where no address space is left for a view, the file is read all the same.
TEST(TraceSourceTest, FileThatCannotBeMappedIsReadInBlocks) {
  const TempDir folder;
  WriteFile(folder.File("t"), Trace(1000));
  fs::resize_file(folder.File("t"), uintmax_t{1} << 40);
  ExpectInChild([&] {
    // Beside what the process has already: sanitizers reserve terabytes.
    uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t most = pages * static_cast<uint64_t>(getpagesize()) + (uint64_t{1} << 38);
    const struct rlimit limit = {most, most};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    const auto source = Over(Plain(folder.File("t"), PlainAccess::MAPPED));
    EXPECT_EQ(source->Bytes(), nullptr);
    EXPECT_EQ(DecodeAll(*source).cycles.size(), 1000U);
  });
}

// Pages of files that this process has in memory, in bytes.
uint64_t ResidentFilePages() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == "RssFile:") {
      uint64_t kilobytes = 0;
      status >> kilobytes;
      return kilobytes << 10;
    }
  }
  ADD_FAILURE() << "the system does not tell";
  return 0;
}

TEST(TraceSourceTest, LongFileThatIsReadToItsEndDoesNotStayInTheProcess) {
  constexpr size_t SIZE = 3 * Residence::CHUNKS * Residence::CHUNK;
  constexpr uint64_t MOST = (Residence::CHUNKS + 2) * Residence::CHUNK;
  const TempDir folder;
  WriteFile(folder.File("t"), "");
  fs::resize_file(folder.File("t"), SIZE);
  const auto file = Plain(folder.File("t"), PlainAccess::MAPPED);
  const auto read = [&](size_t offset) {
    static_cast<void>(*static_cast<const volatile uint8_t*>(file->View() + offset));
  };
  const uint64_t before = ResidentFilePages();
  for (size_t offset = 0; offset < SIZE; offset += 4096) {
    file->AboutToRead(offset);
    read(offset);
  }
  EXPECT_LT(ResidentFilePages() - before, MOST);
  // What nobody announces stays, which tells that the figure above is one.
  for (size_t offset = 0; offset < SIZE; offset += 4096) {
    read(offset);
  }
  EXPECT_GT(ResidentFilePages() - before, MOST);
}

TEST(TraceSourceTest, BytesBehindTheEndOfAFileInMemoryAreAFault) {
  const auto file = InMemory("abc");
  uint8_t bytes[4] = {};
  EXPECT_FALSE(file->ReadAt(1, 2, bytes));
  EXPECT_EQ(bytes[0], 'b');
  EXPECT_EQ(file->ReadAt(2, 2, bytes).kind, Fault::CHANGED);
  EXPECT_EQ(file->ReadAt(~uint64_t{0}, 1, bytes).kind, Fault::CHANGED);
}

}  // namespace
}  // namespace marrowfin::testing
