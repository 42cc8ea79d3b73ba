#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <thread>

#include "tests/support/Files.h"
#include "tests/trace/support/Answers.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"
#include "trace/ask/EventCursor.h"
#include "trace/ask/RegionActivity.h"
#include "trace/ask/Walk.h"
#include "trace/index/IndexWriter.h"
#include "trace/read/Reader.h"
#include "trace/read/Split.h"

namespace marrowfin::testing {
namespace {

namespace fs = std::filesystem;
using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::steady_clock;

constexpr ArrayShape SHAPE = {2, 2, 4};

std::string Trace(uint32_t seed, size_t records, unsigned perCycle = 60) {
  std::mt19937 random(seed);
  RandomTraceOptions options;
  options.shape = SHAPE;
  options.records = records;
  options.perCycle = perCycle;
  return Encode(RandomEvents(random, options));
}

std::vector<std::string> LeftoversIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    if (name.find(".mfpart-") != std::string::npos) {
      names.push_back(name);
    }
  }
  return names;
}

// Terminated processes.

TEST(TraceReliabilityTest, IndexingThatIsKilledLeavesNoIndexOrAWholeOne) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(1, 50000));
  const auto index = [&] {
    const auto trace = OpenTrace(name);
    static_cast<void>(Index::Open(*trace));
  };
  const auto start = steady_clock::now();
  ExpectInChild(index);
  const auto took = duration_cast<microseconds>(steady_clock::now() - start).count();
  const auto trace = OpenTrace(name);
  const std::string expected = FreshAnswers(*trace, SHAPE, 1, 1);
  std::mt19937 random(1);
  int none = 0;
  int whole = 0;
  int leftovers = 0;
  for (int round = 0; round < 120; ++round) {
    fs::remove(name + ".mfindex");
    const pid_t child = StartChild(index);
    usleep(static_cast<useconds_t>(random() % static_cast<unsigned long>(took + took / 4)));
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    // A run that ends before it can be killed counts as one that was killed at its very end.
    ASSERT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
    ASSERT_LE(LeftoversIn(folder.Path()).size(), 1U) << "the next run removes what one leaves";
    leftovers += LeftoversIn(folder.Path()).empty() ? 0 : 1;
    if (!fs::exists(name + ".mfindex")) {
      ++none;
      continue;
    }
    ++whole;
    const auto loaded = Made(Index::Load(*trace, name + ".mfindex"));
    ASSERT_TRUE(loaded) << "round " << round;
    ASSERT_EQ(Answers(*trace, *loaded, SHAPE, 1, 1), expected);
  }
  EXPECT_GT(none, 10) << "it was killed too late";
  EXPECT_GT(whole, 0) << "it was killed too early";
  EXPECT_GT(leftovers, 5) << "it was killed too early or too late";
  fs::remove(name + ".mfindex");
  index();
  EXPECT_TRUE(LeftoversIn(folder.Path()).empty());
}

TEST(TraceReliabilityTest, ExtendingThatIsKilledKeepsTheOldIndexOrLeavesTheNewOne) {
  const TempDir folder;
  const std::string name = folder.File("t");
  const std::string bytes = Trace(2, 110000);
  WriteFile(name, bytes.substr(0, bytes.size() / 2));
  ASSERT_TRUE(OpenIndex(*OpenTrace(name)));
  const std::string old = ReadFile(name + ".mfindex");
  WriteFile(name, bytes);
  const auto trace = OpenTrace(name);
  std::mt19937 random(2);
  for (int round = 0; round < 30; ++round) {
    const pid_t child = StartChild([&] { static_cast<void>(Index::Open(*OpenTrace(name))); });
    usleep(static_cast<useconds_t>(random() % 40000));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    if (ReadFile(name + ".mfindex") != old) {
      const auto loaded = Made(Index::Load(*trace, name + ".mfindex"));
      ASSERT_TRUE(loaded);
      ASSERT_EQ(loaded->GetSummary().bytes, bytes.size());
      fs::remove(name + ".mfindex");
      WriteFile(name + ".mfindex", old);
    }
  }
  ASSERT_TRUE(OpenIndex(*trace));
  EXPECT_TRUE(LeftoversIn(folder.Path()).empty());
}

TEST(TraceReliabilityTest, OnlyTemporariesThatNobodyWritesAnyMoreAreRemoved) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(3, 100));
  const std::string prefix = name + ".mfindex.mfpart-";
  for (const std::string suffix : {"dead01", "dead02", "notes", "of-mine", ""}) {
    WriteFile(prefix + suffix, "x");
  }
  WriteFile(folder.File("t2.mfindex.mfpart-dead03"), "x");
  ASSERT_EQ(mkfifo((prefix + "fifo01").c_str(), 0600), 0);
  ASSERT_EQ(symlink("t", (prefix + "link01").c_str()), 0);
  IndexWriter writing(Made(IndexFileAt(name + ".mfindex", 0600)->Create()));
  const std::vector<std::string> one = LeftoversIn(folder.Path());
  ASSERT_TRUE(OpenIndex(*OpenTrace(name)));
  std::vector<std::string> left = LeftoversIn(folder.Path());
  EXPECT_EQ(left.size(), 7U) << "those with other names, what is no plain file, the one in use";
  for (const std::string gone : {"t.mfindex.mfpart-dead01", "t.mfindex.mfpart-dead02"}) {
    EXPECT_THAT(left, ::testing::Not(::testing::Contains(gone)));
  }
  EXPECT_TRUE(IsFine(writing.Commit(IndexTables()).Why()));
  EXPECT_EQ(LeftoversIn(folder.Path()).size(), 6U);
}

// Full disks.

TEST(TraceReliabilityTest, FullDiskSendsTheIndexToTheCacheFolder) {
  const TempDir folder;
  const std::string disk = folder.File("disk");
  fs::create_directory(disk);
  setenv("XDG_CACHE_HOME", folder.File("cache").c_str(), 1);
  ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(MountSmallDisk(disk, 4 << 20));
    const std::string bytes = Trace(4, 60000);
    WriteFile(disk + "/t", bytes);
    ASSERT_NO_FATAL_FAILURE(FillDisk(disk));
    const auto trace = OpenTrace(disk + "/t");
    const auto index = OpenIndex(*trace);
    ASSERT_TRUE(index);
    EXPECT_THAT(index->FileName(), ::testing::StartsWith(folder.File("cache/marrowfin/t-")));
    EXPECT_EQ(Answers(*trace, *index, SHAPE, 1), FreshAnswers(*trace, SHAPE, 1));
    EXPECT_TRUE(LeftoversIn(disk).empty());
    EXPECT_FALSE(fs::exists(disk + "/t.mfindex"));
    EXPECT_TRUE(ReadFile(disk + "/t") == bytes) << "the trace was harmed";
  });
}

TEST(TraceReliabilityTest, FullDiskEverywhereIsAClearErrorAndTheOldIndexStays) {
  const TempDir folder;
  const std::string disk = folder.File("disk");
  fs::create_directory(disk);
  ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(MountSmallDisk(disk, 8 << 20));
    setenv("XDG_CACHE_HOME", (disk + "/cache").c_str(), 1);
    setenv("TMPDIR", disk.c_str(), 1);
    const std::string bytes = Trace(5, 100000);
    WriteFile(disk + "/t", bytes.substr(0, bytes.size() / 2));
    ASSERT_TRUE(OpenIndex(*OpenTrace(disk + "/t")));
    const std::string old = ReadFile(disk + "/t.mfindex");
    WriteFile(disk + "/t", bytes);
    ASSERT_NO_FATAL_FAILURE(FillDisk(disk));
    const auto trace = OpenTrace(disk + "/t");
    const Fault fault = Index::Open(*trace).Why();
    EXPECT_EQ(fault.kind, Fault::SYSTEM);
    EXPECT_EQ(fault.Text(), disk +
                                ": cannot write the index: No space left on device; make room, "
                                "or set XDG_CACHE_HOME to a folder that has some");
    EXPECT_TRUE(ReadFile(disk + "/t.mfindex") == old) << "the old index was harmed";
    EXPECT_TRUE(ReadFile(disk + "/t") == bytes) << "the trace was harmed";
    EXPECT_TRUE(LeftoversIn(disk).empty());
    // With room again, all is well.
    fs::remove(disk + "/filler");
    const auto index = OpenIndex(*trace);
    ASSERT_TRUE(index);
    EXPECT_EQ(index->GetSummary().bytes, bytes.size());
  });
}

// A full disk is noticed at once, not when the whole trace was read.
TEST(TraceReliabilityTest, WhatCannotBeWrittenIsNotReadForToTheEnd) {
  const TempDir folder;
  const std::string disk = folder.File("disk");
  fs::create_directory(disk);
  const std::string name = folder.File("t");
  WriteFile(name, Trace(6, 200000));
  ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(MountSmallDisk(disk, 64 << 10));
    ASSERT_NO_FATAL_FAILURE(FillDisk(disk));
    uint64_t last = 0;
    const auto trace = OpenTrace(name);
    const Fault fault = Index::Build(*trace, disk + "/i",
                                     [&](const Progress& now) { return (last = now.done, true); });
    EXPECT_EQ(fault.kind, Fault::SYSTEM);
    EXPECT_LT(last, trace->Size() / 2);
  });
}

TEST(TraceReliabilityTest, LimitOnTheSizeOfFilesIsAnErrorAndNotTheEndOfTheProcess) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(7, 100000));
  ExpectInChild([&] {
    const struct rlimit limit = {1000, 1000};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto trace = OpenTrace(name);
    const Fault fault = Index::Build(*trace, folder.File("i"));
    EXPECT_EQ(fault.kind, Fault::SYSTEM);
    EXPECT_THAT(fault.Text(), ::testing::HasSubstr("cannot write the index: File too large"));
    EXPECT_EQ(Index::Open(*trace).Why().kind, Fault::SYSTEM);
    EXPECT_TRUE(LeftoversIn(folder.Path()).empty());
  });
}

// Traces that change.

// Everything that can be asked of a trace, so that whatever still works does not crash.
std::vector<Fault::Kind> AskAll(const TraceSource& trace, const Index& index) {
  std::vector<Fault::Kind> kinds;
  Answers(trace, index, SHAPE, 9);
  kinds.push_back(SeekCycle(trace, index.GetSummary().maxCycle).Why().kind);
  uint64_t records = 0;
  const Fault fault =
      Walk(trace, index, 0, ~uint64_t{0},
           [&](const Columns& columns, size_t, size_t) { return (records += columns.size, true); });
  kinds.push_back(fault.kind);
  EXPECT_TRUE(fault || records == index.GetSummary().records);
  return kinds;
}

TEST(TraceReliabilityTest, TraceThatIsTruncatedWhileItIsOpenIsAFaultThatSaysSo) {
  const std::string bytes = Trace(8, 80000);
  // To nothing, within a page, at a page, by a byte.
  for (const size_t size : {size_t{0}, size_t{100}, size_t{4096}, bytes.size() / 2 + 77,
                            bytes.size() - 4096, bytes.size() - 1}) {
    const Opened opened(bytes);
    fs::resize_file(opened.name, size);
    EXPECT_THAT(AskAll(*opened.trace, *opened.index), ::testing::Each(Fault::CHANGED))
        << "cut to " << size;
    uint8_t last = 0;
    // Even where the page that the end lies in is still mapped.
    EXPECT_EQ(opened.trace->Copy(bytes.size() - 1, 1, &last).kind, Fault::CHANGED);
    EXPECT_EQ(opened.trace->CheckUnchanged().Text(),
              opened.name + ": record 0 at byte " + std::to_string(size) +
                  ": the file became shorter while it was read; open it again when "
                  "whoever writes it is done");
  }
}

// Zeros that end a full batch have the right form of a record, and follow one as well as end it.
TEST(TraceReliabilityTest, RecordWhoseEndWasTruncatedIsNoneAtTheEndOfABatchEither) {
  for (const size_t records : {size_t{1000}, Columns::CAPACITY}) {
    std::vector<Event> events(records);
    for (size_t i = 0; i < records; ++i) {
      events[i].cycle = i;
      events[i].thread = 7;
      events[i].at = {3, 3};
    }
    for (size_t left = 20; left < SMALL_RECORD; ++left) {
      const TempDir folder;
      WriteFile(folder.File("t"), Encode(events));
      const auto trace = OpenTrace(folder.File("t"));
      fs::resize_file(folder.File("t"), (Columns::CAPACITY - 1) * SMALL_RECORD + left);
      auto columns = std::make_unique<Columns>();
      EXPECT_EQ(trace->Decode(0, trace->Size(), *columns).Why().kind, Fault::CHANGED) << left;
      EXPECT_EQ(columns->size, 0U);
    }
  }
}

TEST(TraceReliabilityTest, TraceThatIsTruncatedIsIndexedAnewWhenItIsOpenedAgain) {
  Opened opened(Trace(9, 80000));
  fs::resize_file(opened.name, 40000 * SMALL_RECORD + 5);
  opened.Reopen();
  EXPECT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), FreshAnswers(*opened.trace, SHAPE, 1));
}

// Does something to a trace while it is being indexed.
Result<std::unique_ptr<Index>> OpenWhile(const TraceSource& trace,
                                         const std::function<void()>& change) {
  bool done = false;
  return Index::Open(trace, [&](const Progress& now) {
    if (!done && now.done > now.all / 3) {
      done = true;
      change();
    }
    return true;
  });
}

// A simulator that runs again empties its trace and then writes more than there was. Where the
// first and last records happen to be the same, those at the ends of segments tell.
TEST(TraceReliabilityTest, TraceThatIsWrittenAnewWhileItIsIndexedIsAFaultThoughItIsLonger) {
  std::mt19937 random(10);
  RandomTraceOptions options;
  options.shape = SHAPE;
  options.records = 250000;
  std::vector<Event> events = RandomEvents(random, options);
  const std::string bytes = Encode({events.begin(), events.begin() + 240000});
  for (size_t i = 60000; i < 180000; ++i) {
    events[i].thread += 1;
  }
  for (const std::string& longer : {Trace(11, 300000), Encode(events)}) {
    const TempDir folder;
    WriteFile(folder.File("t"), bytes);
    const auto trace = OpenTrace(folder.File("t"));
    const Fault fault = OpenWhile(*trace, [&] { WriteFile(folder.File("t"), longer); }).Why();
    EXPECT_EQ(fault.kind, Fault::CHANGED) << fault.Text();
  }
}

TEST(TraceReliabilityTest, TraceThatIsTruncatedWhileItIsIndexedIsAFaultThatSaysSo) {
  const std::string bytes = Trace(10, 80000);
  for (const size_t size : {size_t{0}, bytes.size() / 2, 1000 * SMALL_RECORD, bytes.size() - 1}) {
    const TempDir folder;
    const std::string name = folder.File("t");
    WriteFile(name, bytes);
    const auto trace = OpenTrace(name);
    const Fault fault = OpenWhile(*trace, [&] { fs::resize_file(name, size); }).Why();
    EXPECT_EQ(fault.kind, Fault::CHANGED) << fault.Text();
    EXPECT_THAT(fault.Text(), ::testing::HasSubstr("became shorter while it was read"));
    EXPECT_FALSE(fs::exists(name + ".mfindex"));
    EXPECT_TRUE(LeftoversIn(folder.Path()).empty());
  }
}

// As a simulator does that runs again: what it writes in the end is longer than what was.
TEST(TraceReliabilityTest, TraceThatIsWrittenAnewWhileItIsIndexedIsNotBelievedLater) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(11, 80000));
  static_cast<void>(OpenWhile(*OpenTrace(name), [&] { WriteFile(name, Trace(12, 90000)); }));
  const auto trace = OpenTrace(name);
  const auto index = OpenIndex(*trace);
  ASSERT_TRUE(index);
  EXPECT_EQ(Answers(*trace, *index, SHAPE, 1), FreshAnswers(*trace, SHAPE, 1));
}

TEST(TraceReliabilityTest, TraceWhoseBytesChangeWhileItIsIndexedIsAFaultThatSaysSo) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(13, 80000));
  const std::string other = Trace(14, 1);
  const auto change = [&] {
    const int file = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(pwrite(file, other.data(), other.size(), 0), static_cast<ssize_t>(other.size()));
    close(file);
  };
  const Fault fault = OpenWhile(*OpenTrace(name), change).Why();
  EXPECT_EQ(fault.kind, Fault::CHANGED);
  EXPECT_THAT(fault.Text(), ::testing::HasSubstr("was written to while it was read"));
}

TEST(TraceReliabilityTest, TraceThatGrowsWhileItIsIndexedIsIndexedAsItWas) {
  const TempDir folder;
  const std::string name = folder.File("t");
  const std::string bytes = Trace(15, 80000);
  WriteFile(name, bytes.substr(0, bytes.size() / 2));
  const auto before = OpenTrace(name);
  const auto grow = [&] {
    const int file = open(name.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    const std::string rest = bytes.substr(bytes.size() / 2);
    EXPECT_EQ(write(file, rest.data(), rest.size()), static_cast<ssize_t>(rest.size()));
    close(file);
  };
  const auto half = Made(OpenWhile(*before, grow));
  ASSERT_TRUE(half);
  EXPECT_LE(half->GetSummary().bytes, bytes.size() / 2);
  EXPECT_GT(half->GetSummary().bytes, bytes.size() / 2 - LARGE_RECORD);
  const auto trace = OpenTrace(name);
  const auto index = OpenIndex(*trace);
  ASSERT_TRUE(index);
  EXPECT_EQ(index->GetSummary().bytes, bytes.size());
  EXPECT_EQ(Answers(*trace, *index, SHAPE, 1), FreshAnswers(*trace, SHAPE, 1));
}

TEST(TraceReliabilityTest, TraceThatIsReplacedWhileItIsOpenStaysTheOneThatWasOpened) {
  Opened opened(Trace(16, 80000));
  const std::string answers = Answers(*opened.trace, *opened.index, SHAPE, 1);
  WriteFile(opened.folder.File("new"), Trace(17, 70000));
  fs::rename(opened.folder.File("new"), opened.name);
  EXPECT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), answers);
  opened.Reopen();
  EXPECT_EQ(opened.index->GetSummary().records, 70000U);
  EXPECT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), FreshAnswers(*opened.trace, SHAPE, 1));
}

TEST(TraceReliabilityTest, TraceThatIsReplacedWhileItIsIndexedIsIndexedAnewNextTime) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(18, 80000));
  WriteFile(folder.File("new"), Trace(19, 80000));
  const auto before = OpenTrace(name);
  const auto index = Made(OpenWhile(*before, [&] { fs::rename(folder.File("new"), name); }));
  ASSERT_TRUE(index);
  EXPECT_EQ(Answers(*before, *index, SHAPE, 1), FreshAnswers(*before, SHAPE, 1));
  const auto after = OpenTrace(name);
  const auto anew = OpenIndex(*after);
  ASSERT_TRUE(anew);
  EXPECT_EQ(Answers(*after, *anew, SHAPE, 1), FreshAnswers(*after, SHAPE, 1));
}

TEST(TraceReliabilityTest, TraceThatIsRemovedWhileItIsOpenCanStillBeAsked) {
  const Opened opened(Trace(20, 50000));
  const std::string answers = Answers(*opened.trace, *opened.index, SHAPE, 1);
  fs::remove(opened.name);
  fs::remove(opened.name + ".mfindex");
  EXPECT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), answers);
}

TEST(TraceReliabilityTest, IndexThatIsDamagedWhileItIsOpenIsAFaultThatNamesIt) {
  const Opened opened(Trace(21, 80000));
  const std::string file = opened.name + ".mfindex";
  const std::string bytes = ReadFile(file);
  fs::resize_file(file, 8);
  Fault fault = opened.index->Keyframe(1).Why();
  EXPECT_EQ(fault.kind, Fault::DAMAGED_INDEX);
  EXPECT_EQ(fault.Text(), file +
                              ": a section of the index at byte 8 is damaged; remove it, it is "
                              "built again");
  std::vector<uint64_t> counts;
  fault = ActivityReader(*opened.trace, *opened.index).Count(0, 70000, FIRES, counts);
  EXPECT_EQ(fault.kind, Fault::DAMAGED_INDEX);
  Answers(*opened.trace, *opened.index, SHAPE, 1);
  WriteFile(file, std::string(bytes.size(), 'x'));
  EXPECT_FALSE(opened.index->Keyframe(1));
  Answers(*opened.trace, *opened.index, SHAPE, 1);
}

TEST(TraceReliabilityTest, ReaderOfAFileThatGrowsReadsOn) {
  const TempDir folder;
  const std::string name = folder.File("t");
  const std::string bytes = Trace(22, 50000);
  WriteFile(name, bytes.substr(0, bytes.size() / 2));
  Reader reader(OpenInput(name), name);
  auto columns = std::make_unique<Columns>();
  ASSERT_TRUE(reader.Next(*columns));
  WriteFile(folder.File("rest"), bytes.substr(bytes.size() / 2));
  {
    std::ofstream more(name, std::ios::binary | std::ios::app);
    more << bytes.substr(bytes.size() / 2);
  }
  while (reader.Next(*columns)) {
  }
  EXPECT_FALSE(reader.GetFault()) << reader.GetFault().Text();
  EXPECT_EQ(reader.Records(), 50000U);
}

TEST(TraceReliabilityTest, ReaderOfAFileThatIsTruncatedSaysSoBehindWhatItHas) {
  const std::string bytes = Trace(23, 50000);
  for (const size_t size : {size_t{0}, size_t{600000}, bytes.size() - 1}) {
    const TempDir folder;
    const std::string name = folder.File("t");
    WriteFile(name, bytes);
    Reader reader(OpenInput(name), name);
    auto columns = std::make_unique<Columns>();
    ASSERT_TRUE(reader.Next(*columns));
    fs::resize_file(name, size);
    while (reader.Next(*columns)) {
    }
    EXPECT_EQ(reader.GetFault().kind, Fault::CHANGED) << "cut to " << size;
    EXPECT_THAT(reader.GetFault().Text(),
                ::testing::StartsWith(name + ": record " + std::to_string(reader.Records()) +
                                      " at byte " + std::to_string(reader.Offset()) +
                                      ": the file became shorter while it was read"));
    EXPECT_GE(reader.Offset() + LARGE_RECORD, size);
  }
}

TEST(TraceReliabilityTest, PiecesOfATraceThatIsTruncatedEndWithAFault) {
  class Counter : public PieceTaker {
   public:
    void Take(const Columns& columns) override { records += columns.size; }
    void Forget() override { records = 0; }
    uint64_t records = 0;
  };
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(24, 80000));
  const auto trace = OpenTrace(name);
  fs::resize_file(name, 1000000);
  Counter counters[4];
  const PiecesRead read =
      ReadInPieces(*trace, {&counters[0], &counters[1], &counters[2], &counters[3]});
  EXPECT_EQ(read.end.kind, Fault::CHANGED) << read.end.Text();
}

TEST(TraceReliabilityTest, FileThatIsAllHolesTakesNoTimeAndNoMemory) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, "");
  fs::resize_file(name, uintmax_t{1} << 42);
  const auto trace = OpenTrace(name);
  const auto index = OpenIndex(*trace);
  ASSERT_TRUE(index);
  EXPECT_EQ(index->GetSummary().records, 0U);
  EXPECT_EQ(index->GetSummary().end.kind, Fault::UNKNOWN_TYPE);
}

// Threads.

TEST(TraceReliabilityTest, ThreadsWithAnIndexEachGetTheSameAnswers) {
  const Opened opened(Trace(25, 80000));
  const std::string expected = Answers(*opened.trace, *opened.index, SHAPE, 1);
  std::vector<std::string> answers(3);
  std::vector<std::thread> threads;
  for (std::string& answer : answers) {
    threads.emplace_back([&] {
      const auto index = OpenIndex(*opened.trace);
      answer = Answers(*opened.trace, *index, SHAPE, 1);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(answers, ::testing::Each(expected));
}

TEST(TraceReliabilityTest, ThreadsMayIndexTheSameTraceAtOnce) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Trace(26, 60000));
  const auto trace = OpenTrace(name);
  const std::string expected = FreshAnswers(*trace, SHAPE, 1);
  std::vector<std::string> answers(3);
  std::vector<std::thread> threads;
  for (std::string& answer : answers) {
    threads.emplace_back([&] {
      const auto index = Index::Open(*trace);
      answer = index ? Answers(*trace, **index, SHAPE, 1) : index.Why().Text();
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(answers, ::testing::Each(expected));
  EXPECT_TRUE(LeftoversIn(folder.Path()).empty());
}

TEST(TraceReliabilityTest, ThreadsThatReadATruncatedTraceAllSurvive) {
  const Opened opened(Trace(27, 80000));
  fs::resize_file(opened.name, 5000);
  std::vector<std::thread> threads;
  std::vector<Fault> faults(4);
  for (Fault& fault : faults) {
    threads.emplace_back([&] {
      auto columns = std::make_unique<Columns>();
      for (int round = 0; round < 50; ++round) {
        const uint64_t offset = opened.index->Entries()[20].offset;
        fault = opened.trace->Decode(offset, ~uint64_t{0}, *columns).Why();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const Fault& fault : faults) {
    EXPECT_EQ(fault.kind, Fault::CHANGED);
  }
}

}  // namespace
}  // namespace marrowfin::testing
