#include "trace/read/Reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <random>
#include <thread>

#include "Core/VisTool.h"
#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/read/OpenSource.h"
#include "trace/read/Summary.h"

namespace marrowfin::testing {
namespace {

// A trace read to its end or to its fault.
struct ReadResult {
  std::vector<Event> events;
  Fault fault;
};

ReadResult ReadAll(Reader& reader) {
  ReadResult result;
  auto columns = std::make_unique<Columns>();
  while (reader.Next(*columns)) {
    EXPECT_EQ(columns->firstRecord, result.events.size());
    for (size_t i = 0; i < columns->size; ++i) {
      result.events.push_back({columns->tag[i].type, columns->cycle[i], columns->tag[i].thread,
                               columns->at[i], columns->to[i]});
    }
  }
  EXPECT_FALSE(reader.Next(*columns)) << "a reader that has ended stays so";
  result.fault = reader.GetFault();
  return result;
}

ReadResult ReadBytes(const std::string& bytes, ReadOptions options = {}) {
  Reader reader(MemorySource(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()),
                "t.trace", std::move(options));
  return ReadAll(reader);
}

ReadResult ReadNamed(const std::string& name) {
  Result<std::unique_ptr<ByteSource>> source = OpenSource(name);
  if (!source) {
    return {{}, source.Why()};
  }
  Reader reader(std::move(source).Take(), name);
  return ReadAll(reader);
}

size_t WholeRecordsIn(const std::vector<Event>& events, size_t bytes) {
  size_t whole = 0;
  for (size_t end = 0; whole < events.size(); ++whole) {
    end += RecordSize(events[whole].type);
    if (end > bytes) {
      break;
    }
  }
  return whole;
}

TEST(ReaderTest, EmptyTraceHasNoRecordsAndNoFault) {
  const ReadResult result = ReadBytes("");
  EXPECT_TRUE(result.events.empty());
  EXPECT_FALSE(result.fault);
}

TEST(ReaderTest, RecordsOfManyBlocksArriveInOrder) {
  std::mt19937 random(1);
  const std::vector<Event> events = RandomEvents(random, {.records = 30000});
  const std::string bytes = Encode(events);
  ASSERT_GT(bytes.size(), 3U << 18);
  const ReadResult result = ReadBytes(bytes);
  EXPECT_FALSE(result.fault);
  EXPECT_EQ(Encode(result.events), bytes);
}

TEST(ReaderTest, CutAtAnyByteKeepsEveryWholeRecordBefore) {
  std::mt19937 random(2);
  const std::vector<Event> events = RandomEvents(random, {.records = 12});
  const std::string bytes = Encode(events);
  for (size_t size = 0; size < bytes.size(); ++size) {
    const ReadResult result = ReadBytes(bytes.substr(0, size));
    const size_t whole = WholeRecordsIn(events, size);
    EXPECT_EQ(result.events.size(), whole) << "cut at byte " << size;
    const std::string before = Encode({events.begin(), events.begin() + static_cast<long>(whole)});
    EXPECT_EQ(result.fault.kind, before.size() == size ? Fault::NONE : Fault::CUT_RECORD);
    if (result.fault) {
      EXPECT_EQ(result.fault.offset, before.size());
      EXPECT_EQ(result.fault.record, whole);
      EXPECT_EQ(result.fault.file, "t.trace");
    }
  }
}

TEST(ReaderTest, UnknownTypesAndWrongLengthsNameRecordAndByte) {
  const std::string good = TraceBytes("fire 1 0 2 3\nsend 2 0 1 1 2 2\n");
  for (const uint32_t type : {0U, 1U, 5U, 256U, 0x02000000U, ~0U}) {
    const ReadResult result =
        ReadBytes(good + TraceBytes("raw " + std::to_string(type) + " 3 0 8 0000000000000000\n"));
    EXPECT_EQ(result.events.size(), 2U);
    EXPECT_EQ(result.fault.kind, Fault::UNKNOWN_TYPE);
    EXPECT_EQ(result.fault.record, 2U);
    EXPECT_EQ(result.fault.offset, 64U);
    EXPECT_EQ(result.fault.Text(),
              "t.trace: record 2 at byte 64: type " + std::to_string(type) +
                  " is none of 2, 3 and 4; check that this is a trace, written whole and without "
                  "text in between");
  }
  for (const std::string length : {"0", "4", "9", "16", "4294967295", "134217728"}) {
    const ReadResult result =
        ReadBytes(good + TraceBytes("raw 3 3 0 " + length + " 00000000000000000000\n"));
    EXPECT_EQ(result.fault.kind, Fault::WRONG_LENGTH) << length;
    EXPECT_EQ(result.events.size(), 2U);
  }
  EXPECT_EQ(ReadBytes(TraceBytes("raw 4 3 0 8 0000000000000000\n")).fault.kind,
            Fault::WRONG_LENGTH);
}

TEST(ReaderTest, FallingCycleEndsTheReadingUnlessItIsAllowedOrReported) {
  const std::string bytes = TraceBytes("fire 5 0 0 0\nfire 5 0 0 0\nfire 4 0 0 0\nfire 9 0 0 0\n");
  const ReadResult strict = ReadBytes(bytes);
  EXPECT_EQ(strict.events.size(), 2U);
  EXPECT_EQ(strict.fault.kind, Fault::FALLING_CYCLE);
  EXPECT_EQ(strict.fault.record, 2U);
  EXPECT_EQ(strict.fault.offset, 56U);
  EXPECT_EQ(ReadBytes(bytes, {.ordered = false}).events.size(), 4U);
  std::vector<Fault> findings;
  const ReadResult told =
      ReadBytes(bytes, {.onFinding = [&](const Fault& f) { findings.push_back(f); }});
  EXPECT_EQ(told.events.size(), 4U);
  EXPECT_FALSE(told.fault);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].reason, "the cycle falls from 5 to 4");
}

TEST(ReaderTest, LocationsOutsideTheGivenArrayAreFound) {
  ReadOptions options;
  options.array = ArrayShape{2, 1, 8};
  const std::string good = "fire 1 0 15 15\nsend 1 0 0 15 15 0\nswitch 1 0 12 4\n";
  EXPECT_FALSE(ReadBytes(TraceBytes(good), options).fault);
  for (const std::string bad :
       {"fire 1 0 16 0", "fire 1 0 0 16", "send 1 0 16 0 0 0", "send 1 0 0 0 0 16",
        "switch 1 0 4 5", "switch 1 0 20 4", "switch 1 0 0 0", "switch 1 0 4 20"}) {
    const ReadResult result = ReadBytes(TraceBytes(good + bad + "\n" + good), options);
    EXPECT_EQ(result.fault.kind, bad[1] == 'e' ? Fault::FAR_END : Fault::OUTSIDE_ARRAY) << bad;
    EXPECT_EQ(result.fault.record, 3U) << bad;
    EXPECT_EQ(result.events.size(), 3U) << bad;
  }
}

// What is gathered of a batch as a whole must not tell of records that were cut off it.
TEST(ReaderTest, RecordsBehindAFaultLeaveNothingInTheSummary) {
  ReadOptions options;
  options.array = ArrayShape{2, 1, 8};
  const std::string good = "fire 1 0 3 2\nsend 1 0 1 5 4 1\nswitch 1 0 4 4\nfire 2 0 1 7\n";
  const std::string behind =
      "fire 3 0 15 14\nsend 3 0 13 12 0 0\nsend 3 0 0 0 12 13\nswitch 4 0 12 12\n";
  for (const std::string bad : {"fire 2 0 99 0", "send 2 0 99 0 0 0", "send 2 0 0 0 0 99",
                                "switch 2 0 13 4", "fire 1 0 9 9"}) {
    for (const size_t before : {0U, 1U, 6U}) {
      std::string text;
      for (size_t i = 0; i < before; ++i) {
        text += "send 1 0 1 1 1 1\n";
      }
      const std::string bytes = TraceBytes(text + good + bad + "\n" + behind + behind);
      Reader reader(MemorySource(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()),
                    "t.trace", options);
      Summarizer summarizer;
      auto columns = std::make_unique<Columns>();
      while (reader.Next(*columns)) {
        EXPECT_EQ(columns->maxFired, (Place{3, 7}));
        EXPECT_EQ(columns->maxSent, (Place{4, 5}));
        EXPECT_EQ(columns->maxSwitched, (Place{0, 0}));
        EXPECT_EQ(columns->switchedBits, (Place{0, 0}));
        summarizer.Add(*columns);
      }
      summarizer.Finish();
      const Summary& summary = summarizer.Get();
      EXPECT_EQ(reader.GetFault().record, before + 4) << bad;
      EXPECT_EQ(summary.records, before + 4) << bad;
      EXPECT_EQ(summary.fires, 2U) << bad;
      EXPECT_EQ(summary.switches, 1U) << bad;
      EXPECT_EQ(summary.changes, 1U) << bad;
      EXPECT_EQ(summary.falls, 0U) << bad;
      EXPECT_EQ(summary.bytes, reader.GetFault().offset) << bad;
      EXPECT_EQ(summary.fired, (Extent{4, 8})) << bad;
      EXPECT_EQ(summary.sent, (Extent{5, 6})) << bad;
    }
  }
}

TEST(ReaderTest, PackedTracesReadLikePlainOnes) {
  std::mt19937 random(3);
  const std::string bytes = Encode(RandomEvents(random, {.records = 40000}));
  const TempDir folder;
  const std::string name = folder.File("t.trace");
  WriteFile(name, bytes);
  ASSERT_EQ(RunCommand({"gzip", "-k", name}).exitStatus, 0);
  ASSERT_EQ(RunCommand({"zstd", "-q", name}).exitStatus, 0);
  for (const std::string suffix : {"", ".gz", ".zst"}) {
    const ReadResult result = ReadNamed(name + suffix);
    EXPECT_FALSE(result.fault) << result.fault.Text();
    EXPECT_TRUE(Encode(result.events) == bytes) << suffix;
  }
  // Members and frames may follow each other.
  for (const std::string suffix : {".gz", ".zst"}) {
    const std::string packed = ReadFile(name + suffix);
    WriteFile(name + "2" + suffix, packed + packed);
    Reader reader(OpenInput(name + "2" + suffix), "twice", {.ordered = false});
    EXPECT_EQ(ReadAll(reader).events.size(), 80000U) << suffix;
  }
}

TEST(ReaderTest, PackedTraceThatIsCutOrDamagedIsAFaultBehindItsRecords) {
  std::mt19937 random(4);
  const std::string bytes = Encode(RandomEvents(random, {.records = 40000}));
  const TempDir folder;
  const std::string name = folder.File("t.trace");
  WriteFile(name, bytes);
  ASSERT_EQ(RunCommand({"gzip", "-k", name}).exitStatus, 0);
  ASSERT_EQ(RunCommand({"zstd", "-q", name}).exitStatus, 0);
  for (const std::string suffix : {".gz", ".zst"}) {
    const std::string packed = ReadFile(name + suffix);
    for (const size_t size : {size_t{5}, packed.size() / 2, packed.size() - 1}) {
      WriteFile(name + suffix, packed.substr(0, size));
      const ReadResult result = ReadNamed(name + suffix);
      EXPECT_EQ(result.fault.kind, Fault::DAMAGED_INPUT) << suffix << " cut at " << size;
      EXPECT_EQ(Encode(result.events), bytes.substr(0, Encode(result.events).size()));
    }
    std::string damaged = packed;
    for (size_t at = packed.size() / 2; at < packed.size() / 2 + 40; ++at) {
      damaged[at] = static_cast<char>(~damaged[at]);
    }
    WriteFile(name + suffix, damaged);
    EXPECT_TRUE(ReadNamed(name + suffix).fault) << suffix;
  }
}

TEST(ReaderTest, FifoIsReadAsItIsWritten) {
  std::mt19937 random(5);
  const std::string bytes = Encode(RandomEvents(random, {.records = 5000}));
  const TempDir folder;
  const std::string name = folder.File("fifo");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  std::thread writer([&] { WriteFile(name, bytes); });
  const ReadResult result = ReadNamed(name);
  writer.join();
  EXPECT_TRUE(Encode(result.events) == bytes);
}

TEST(ReaderTest, SignalsThatComeWhileAFifoIsWaitedForEndNothing) {
  const std::string bytes = Encode({Event()});
  const TempDir folder;
  const std::string name = folder.File("fifo");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  struct sigaction taken = {};
  taken.sa_handler = [](int) {};  // and what waits is not begun again by the system
  struct sigaction before = {};
  sigaction(SIGUSR1, &taken, &before);
  // So that writing waits for no reader, should the one that is asked have given up.
  const int spare = open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::thread writer([&, reader = pthread_self()] {
    const int opened = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    for (int i = 0; i < 20; ++i) {
      pthread_kill(reader, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    WriteFile(name, bytes);
    close(opened);
  });
  const ReadResult result = ReadNamed(name);
  writer.join();
  close(spare);
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_FALSE(result.fault) << result.fault.Text();
  EXPECT_EQ(Encode(result.events), bytes);
}

TEST(ReaderTest, MissingFileAndFolderAreFaultsOfTheSystem) {
  const TempDir folder;
  const ReadResult missing = ReadNamed(folder.File("none"));
  EXPECT_EQ(missing.fault.kind, Fault::SYSTEM);
  EXPECT_EQ(missing.fault.Text(), folder.File("none") + ": cannot open: No such file or directory");
  EXPECT_EQ(ReadNamed(folder.Path()).fault.kind, Fault::SYSTEM);
}

// The trace tool reads a record at a time through system calls; what it delivers is the reference.
TEST(ReaderTest, TraceToolAndReaderDeliverTheSameRecords) {
  std::mt19937 random(6);
  const TempDir folder;
  for (int round = 0; round < 20; ++round) {
    const std::string bytes = Encode(RandomEvents(random, {.records = random() % 300}));
    WriteFile(folder.File("t"), bytes.substr(0, bytes.size() - random() % 3 * bytes.size() / 7));
    const ReadResult fast = ReadNamed(folder.File("t"));
    VisTool tool;
    tool.inFilename = folder.File("t");
    tool.InitializeForRead();
    size_t i = 0;
    VisToolEvent* raw = nullptr;
    while (tool.ReadEvent(raw) == File::SUCCESS) {
      const std::unique_ptr<VisToolEvent> event(raw);
      ASSERT_LT(i, fast.events.size());
      const Event& other = fast.events[i++];
      EXPECT_EQ(event->Class(), other.type);
      EXPECT_EQ(event->cyc, other.cycle);
      EXPECT_EQ(event->thread, other.thread);
      if (const auto* send = dynamic_cast<MessageSend*>(raw)) {
        EXPECT_TRUE((Place{send->from.column, send->from.row}) == other.at);
        EXPECT_TRUE((Place{send->to.column, send->to.row}) == other.to);
      } else {
        const Location& l = dynamic_cast<LocationEvent&>(*raw).l;
        EXPECT_TRUE((Place{l.column, l.row}) == other.at);
      }
    }
    EXPECT_EQ(i, fast.events.size());
    tool.inFile.Close();
  }
}

}  // namespace
}  // namespace marrowfin::testing
