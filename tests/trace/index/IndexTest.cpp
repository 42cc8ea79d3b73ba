#include "trace/index/Index.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>

#include "tests/support/Files.h"
#include "tests/trace/support/Answers.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/Opened.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

namespace fs = std::filesystem;

constexpr ArrayShape SHAPE = {2, 2, 2};

std::vector<Event> Events(uint32_t seed, size_t records) {
  std::mt19937 random(seed);
  RandomTraceOptions options;
  options.shape = SHAPE;
  options.records = records;
  options.perCycle = 40;
  return RandomEvents(random, options);
}

// What tells whether a file was written anew.
struct Stamp {
  ino_t inode = 0;
  timespec modified = {};

  static Stamp Of(const std::string& name) {
    struct stat status = {};
    EXPECT_EQ(stat(name.c_str(), &status), 0) << name;
    return {status.st_ino, status.st_mtim};
  }
  friend bool operator==(const Stamp& a, const Stamp& b) {
    return a.inode == b.inode && a.modified.tv_sec == b.modified.tv_sec &&
           a.modified.tv_nsec == b.modified.tv_nsec;
  }
};

std::vector<std::string> FilesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  return names;
}

// Puts a new file where one was: some file systems take their time to empty one.
void Replace(const std::string& name, const std::string& bytes) {
  fs::remove(name);
  WriteFile(name, bytes);
}

// Gives a file the time of modification of another.
void CopyTime(const std::string& from, const std::string& to) {
  struct stat status = {};
  ASSERT_EQ(stat(from.c_str(), &status), 0);
  const timespec times[2] = {status.st_atim, status.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, to.c_str(), times, 0), 0);
}

// Opens the trace anew and expects that its index is written anew too and answers like a fresh one.
void ExpectRebuilt(Opened& opened) {
  const Stamp before = Stamp::Of(opened.name + ".mfindex");
  opened.Reopen();
  ASSERT_TRUE(opened.index);
  EXPECT_FALSE(Stamp::Of(opened.name + ".mfindex") == before) << "an old index was believed";
  EXPECT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), FreshAnswers(*opened.trace, SHAPE, 1));
}

TEST(IndexTest, IndexLiesBesideTheTraceAndIsOpenedAgainAsItIs) {
  Opened opened(Encode(Events(1, 40000)));
  const std::string file = opened.name + ".mfindex";
  EXPECT_EQ(opened.index->FileName(), file);
  EXPECT_EQ(opened.index->FileSize(), fs::file_size(file));
  EXPECT_THAT(FilesIn(opened.folder.Path()),
              ::testing::UnorderedElementsAre("t.trace", "t.trace.mfindex"));
  const std::string answers = Answers(*opened.trace, *opened.index, SHAPE, 1);
  const Stamp before = Stamp::Of(file);
  opened.Reopen();
  EXPECT_TRUE(Stamp::Of(file) == before) << "the index was built again";
  EXPECT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), answers);
}

TEST(IndexTest, EntriesAndBoundariesStandWhereTheirRecordsDo) {
  const std::vector<Event> events = Events(2, 80000);
  const Opened opened(Encode(events));
  std::vector<uint64_t> offsets = {0};
  std::vector<uint64_t> changes = {0};
  for (size_t i = 0; i < events.size(); ++i) {
    offsets.push_back(offsets.back() + RecordSize(events[i].type));
    const bool change = i + 1 < events.size() && events[i + 1].cycle != events[i].cycle;
    changes.push_back(changes.back() + (change ? 1 : 0));
  }
  ASSERT_GT(opened.index->Entries().size(), 10U);
  for (const IndexEntry& entry : opened.index->Entries()) {
    EXPECT_EQ(entry.offset, offsets[entry.record]);
    EXPECT_EQ(entry.cycle, events[entry.record].cycle);
    EXPECT_EQ(entry.changes, changes[entry.record]);
  }
  ASSERT_GE(opened.index->Boundaries().size(), 2U);
  for (const IndexBoundary& boundary : opened.index->Boundaries()) {
    EXPECT_EQ(boundary.offset, offsets[boundary.record]);
    EXPECT_EQ(boundary.lastCycle, events[boundary.record - 1].cycle);
    EXPECT_EQ(boundary.changes, changes[boundary.record - 1]);
  }
}

TEST(IndexTest, TraceThatChangedInTheMiddleIsIndexedAnew) {
  std::vector<Event> events = Events(3, 40000);
  Opened opened(Encode(events));
  events[20000].thread ^= 1;
  WriteFile(opened.name, Encode(events));
  ExpectRebuilt(opened);
}

TEST(IndexTest, ShorterTraceIsIndexedAnew) {
  std::vector<Event> events = Events(4, 40000);
  Opened opened(Encode(events));
  fs::resize_file(opened.name, 20000 * SMALL_RECORD);
  ExpectRebuilt(opened);
}

TEST(IndexTest, TraceThatReplacesAnotherOfItsSizeIsIndexedAnew) {
  std::vector<Event> events = Events(5, 40000);
  Opened opened(Encode(events));
  events[20000].thread ^= 1;
  WriteFile(opened.folder.File("new"), Encode(events));
  fs::rename(opened.folder.File("new"), opened.name);
  ExpectRebuilt(opened);
}

TEST(IndexTest, LongerTraceThatBeginsOtherwiseIsIndexedAnew) {
  std::vector<Event> events = Events(6, 70000);
  Opened opened(Encode({events.begin(), events.begin() + 50000}));
  events[5].thread ^= 1;
  WriteFile(opened.name, Encode(events));
  ExpectRebuilt(opened);
}

// The first and last bytes of the indexed part stay as they are, and so does what lies between,
// but for the records with which the second segment begins.
TEST(IndexTest, LongerTraceWithOtherRecordsInTheMiddleIsIndexedAnew) {
  std::vector<Event> events = Events(7, 120000);
  Opened opened(Encode({events.begin(), events.begin() + 100000}));
  ASSERT_GE(opened.index->Boundaries().size(), 2U);
  events[opened.index->Boundaries()[0].record + 3].thread ^= 1;
  WriteFile(opened.name, Encode(events));
  ExpectRebuilt(opened);
}

TEST(IndexTest, TimeOfModificationThatWasSetBackDoesNotHideOtherEdges) {
  std::vector<Event> events = Events(8, 40000);
  for (const size_t changed : {size_t{7}, events.size() - 7}) {
    Opened opened(Encode(events));
    const std::string other = opened.folder.File("other");
    WriteFile(other, "");
    CopyTime(opened.name, other);
    events[changed].thread ^= 1;
    WriteFile(opened.name, Encode(events));
    CopyTime(other, opened.name);
    ExpectRebuilt(opened);
  }
}

// Between two changes within one tick of the clock of file times the time stays the same.
TEST(IndexTest, TraceThatIsRewrittenAtOnceIsNotMistakenForTheOneBefore) {
  const TempDir folder;
  const std::string name = folder.File("t");
  std::vector<Event> events = Events(9, 1500);
  for (uint32_t round = 0; round < 60; ++round) {
    events[700].thread = round;
    WriteFile(name, Encode(events));
    const auto trace = OpenTrace(name);
    ASSERT_TRUE(trace);
    const auto index = OpenIndex(*trace);
    ASSERT_TRUE(index);
    // Record 700 lies outside the edges, so only its time tells the traces apart.
    std::map<uint32_t, uint64_t> threads;
    for (const Event& event : events) {
      ++threads[event.thread];
    }
    ASSERT_EQ(index->GetSummary().threads, threads) << "round " << round;
  }
}

TEST(IndexTest, CopyOfTraceAndIndexNeedsNoNewIndex) {
  const Opened opened(Encode(Events(10, 80000)));
  const TempDir elsewhere;
  for (const std::string suffix : {"", ".mfindex"}) {
    fs::copy_file(opened.name + suffix, elsewhere.File("c" + suffix));
    CopyTime(opened.name + suffix, elsewhere.File("c" + suffix));
  }
  const Stamp before = Stamp::Of(elsewhere.File("c.mfindex"));
  const auto trace = OpenTrace(elsewhere.File("c"));
  const auto index = OpenIndex(*trace);
  ASSERT_TRUE(index);
  EXPECT_TRUE(Stamp::Of(elsewhere.File("c.mfindex")) == before);
  EXPECT_EQ(Answers(*trace, *index, SHAPE, 1), FreshAnswers(*trace, SHAPE, 1));
}

TEST(IndexTest, IndexOfAnotherTraceIsNotBelieved) {
  const Opened one(Encode(Events(11, 80000)));
  Opened other(Encode(Events(12, 80000)));
  fs::copy_file(one.name + ".mfindex", other.name + ".mfindex",
                fs::copy_options::overwrite_existing);
  const Fault fault = Index::Load(*other.trace, other.name + ".mfindex").Why();
  EXPECT_EQ(fault.kind, Fault::DAMAGED_INDEX);
  EXPECT_THAT(fault.Text(), ::testing::HasSubstr("belongs to another trace"));
  ExpectRebuilt(other);
}

// The same size and time as the trace that the index is of, and the same edges: the records with
// which its segments begin tell it apart, since it is another file.
TEST(IndexTest, IndexOfAnotherTraceOfTheSameSizeAndTimeIsNotBelieved) {
  std::vector<Event> events = Events(13, 80000);
  const Opened one(Encode(events));
  const size_t second = one.index->Boundaries()[0].record;
  events[second].at.column ^= 1;
  Opened other(Encode(events));
  CopyTime(one.name, other.name);
  fs::copy_file(one.name + ".mfindex", other.name + ".mfindex",
                fs::copy_options::overwrite_existing);
  ExpectRebuilt(other);
}

TEST(IndexTest, CutIndexIsNotBelievedWhereverItIsCut) {
  Opened opened(Encode(Events(14, 40000)));
  const std::string file = opened.name + ".mfindex";
  const std::string bytes = ReadFile(file);
  for (size_t size = 0; size < bytes.size(); ++size) {
    Replace(file, bytes.substr(0, size));
    const Fault fault = Index::Load(*opened.trace, file).Why();
    ASSERT_EQ(fault.kind, Fault::DAMAGED_INDEX) << "cut at byte " << size;
    EXPECT_EQ(fault.file, file);
  }
  ExpectRebuilt(opened);
  WriteFile(file, bytes + "x");
  EXPECT_FALSE(Index::Load(*opened.trace, file)) << "bytes were appended";
}

// All that an index keeps apart from its tables, or the faults in its place.
struct Contents {
  explicit Contents(const Index& index) {
    const Result<const TimeTable*> times = index.Times();
    parts.push_back(times ? (*times)->Encode() : Damaged(times.Why()));
    for (size_t b = 1; b <= index.Boundaries().size(); ++b) {
      const IndexBoundary& boundary = index.Boundaries()[b - 1];
      const auto keyframe = index.Keyframe(b);
      parts.push_back(keyframe ? std::vector<uint8_t>(keyframe->begin(), keyframe->end())
                               : Damaged(keyframe.Why()));
      for (size_t level = 0; level < 16; ++level) {
        if (index.HasMask(b, level)) {
          const auto mask = index.Mask(b, level);
          parts.push_back(mask ? std::vector<uint8_t>(mask->begin(), mask->end())
                               : Damaged(mask.Why()));
        }
      }
      for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS, THREAD_RECORDS}) {
        std::vector<uint64_t> sums(CountersOf(boundary, activity));
        const Fault fault = index.AddNode(b, activity, 1, boundary.columns, boundary.rows, sums);
        const auto* bytes = reinterpret_cast<const uint8_t*>(sums.data());
        parts.push_back(fault ? Damaged(fault)
                              : std::vector<uint8_t>(bytes, bytes + sums.size() * sizeof(sums[0])));
      }
    }
  }

  std::vector<uint8_t> Damaged(const Fault& fault) {
    EXPECT_EQ(fault.kind, Fault::DAMAGED_INDEX) << fault.Text();
    damage = fault;
    return {};
  }

  std::vector<std::vector<uint8_t>> parts;
  Fault damage;
};

// Opening looks at the tables alone. What else is damaged shows when it is read, and never as
// anything that is not there.
TEST(IndexTest, DamageShowsWhenTheIndexIsOpenedOrWhenThePartIsRead) {
  Opened opened(Encode(Events(15, 40000)));
  ASSERT_EQ(opened.index->Boundaries().size(), 1U);
  const std::string file = opened.name + ".mfindex";
  const std::string bytes = ReadFile(file);
  const Contents sound(*opened.index);
  EXPECT_FALSE(sound.damage);
  std::mt19937 random(15);
  size_t refused = 0;
  size_t shown = 0;
  size_t tried = 0;
  // Every byte of the magic and the footer, and some of all others.
  for (size_t at = 0; at < bytes.size();
       at += at < 16 || at + 64 > bytes.size() ? 1 : 1 + random() % (bytes.size() / 800)) {
    for (const int flip : {1 << random() % 8, 255}) {
      ++tried;
      std::vector<uint8_t> damaged(bytes.begin(), bytes.end());
      damaged[at] = static_cast<uint8_t>(damaged[at] ^ flip);
      const Result<std::unique_ptr<Index>> index =
          Index::Load(*opened.trace, MemoryFile(std::move(damaged), file));
      if (!index) {
        ASSERT_EQ(index.Why().kind, Fault::DAMAGED_INDEX) << "byte " << at;
        ++refused;
        continue;
      }
      const Contents contents(**index);
      shown += contents.damage ? 1 : 0;
      for (size_t part = 0; part < sound.parts.size(); ++part) {
        ASSERT_TRUE(contents.parts[part].empty() || contents.parts[part] == sound.parts[part])
            << "byte " << at;
      }
    }
  }
  // A few bits of a packed section mean nothing.
  EXPECT_GT(refused + shown, tried * 99 / 100);
  EXPECT_GT(refused, 100U);
  EXPECT_GT(shown, tried / 2);
}

TEST(IndexTest, DamagedIndexIsRebuilt) {
  Opened opened(Encode(Events(15, 40000)));
  const std::string file = opened.name + ".mfindex";
  const std::string bytes = ReadFile(file);
  const std::string answers = Answers(*opened.trace, *opened.index, SHAPE, 1);
  std::string damaged = bytes;
  damaged[20] = static_cast<char>(damaged[20] ^ 255);  // of the first keyframe
  Replace(file, damaged);
  opened.Reopen();
  EXPECT_EQ(ReadFile(file), damaged) << "the keyframe was looked at, though nobody asked for it";
  EXPECT_EQ(Contents(*opened.index).damage.kind, Fault::DAMAGED_INDEX);
  opened.index = Made(Index::Rebuild(*opened.trace));
  EXPECT_EQ(ReadFile(file), bytes);
  EXPECT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), answers);
}

TEST(IndexTest, EveryDamagedByteOfTheIndexOfAShortTraceLeadsToANewOne) {
  Opened opened(Encode(Events(16, 60)));
  const std::string file = opened.name + ".mfindex";
  const std::string bytes = ReadFile(file);
  const std::string answers = Answers(*opened.trace, *opened.index, SHAPE, 1);
  for (size_t at = 0; at < bytes.size(); ++at) {
    std::string damaged = bytes;
    damaged[at] = static_cast<char>(damaged[at] ^ 1 << at % 8);
    Replace(file, damaged);
    opened.Reopen();
    if (!opened.index->Times()) {
      opened.index = Made(Index::Rebuild(*opened.trace));
    }
    ASSERT_EQ(Answers(*opened.trace, *opened.index, SHAPE, 1), answers) << "byte " << at;
  }
}

TEST(IndexTest, IndexOfAnotherVersionIsBuiltAnew) {
  Opened opened(Encode(Events(17, 100)));
  const std::string file = opened.name + ".mfindex";
  for (const char version : {'2', '4'}) {
    std::string bytes = ReadFile(file);
    ASSERT_EQ(bytes.substr(0, 8), "MFINDEX3");
    bytes[7] = version;
    WriteFile(file, bytes);
    const Fault fault = Index::Load(*opened.trace, file).Why();
    EXPECT_THAT(fault.Text(), ::testing::HasSubstr("another version"));
    ExpectRebuilt(opened);
    EXPECT_EQ(ReadFile(file).substr(0, 8), "MFINDEX3");
  }
}

TEST(IndexTest, WhatIsNoPlainFileIsNoIndex) {
  Opened opened(Encode(Events(18, 100)));
  const std::string file = opened.name + ".mfindex";
  setenv("XDG_CACHE_HOME", opened.folder.File("cache").c_str(), 1);
  fs::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  opened.Reopen();
  EXPECT_TRUE(fs::is_regular_file(file)) << "a FIFO is replaced, not waited for";
  fs::remove(file);
  fs::create_directory(file);
  opened.Reopen();
  EXPECT_TRUE(fs::is_directory(file));
  EXPECT_THAT(opened.index->FileName(), ::testing::StartsWith(opened.folder.File("cache")));
}

TEST(IndexTest, IndexMayBeReadByThoseWhoMayReadTheTrace) {
  Opened opened(Encode(Events(19, 100)));
  for (const mode_t mode : {0600, 0640, 0644, 0444}) {
    fs::remove(opened.name + ".mfindex");
    ASSERT_EQ(chmod(opened.name.c_str(), mode), 0);
    opened.Reopen();
    struct stat status = {};
    ASSERT_EQ(stat((opened.name + ".mfindex").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, (mode & 0077) | 0600);
  }
}

// A trace in a folder that refuses every other file, and a folder for everything else.
struct LockedAway {
  LockedAway() {
    fs::permissions(outer.Path(), fs::perms::all);
    fs::create_directory(outer.File("locked"));
    fs::create_directory(outer.File("open"));
    WriteFile(name, Encode(Events(20, 40000)));
    fs::permissions(outer.File("locked"), fs::perms(0555));
    fs::permissions(outer.File("open"), fs::perms::all);
    setenv("XDG_CACHE_HOME", outer.File("open/cache").c_str(), 1);
    setenv("HOME", outer.File("open/home").c_str(), 1);
    setenv("TMPDIR", outer.File("open").c_str(), 1);
  }

  std::unique_ptr<Index> Open() {
    trace = OpenTrace(name);
    EXPECT_TRUE(trace);
    std::unique_ptr<Index> index = OpenIndex(*trace);
    EXPECT_TRUE(index);
    return index;
  }

  TempDir outer;
  std::string name = outer.File("locked/t.trace");
  std::unique_ptr<TraceSource> trace;
};

TEST(IndexTest, WhereTheFolderCannotBeWrittenToTheIndexLiesInTheCacheFolder) {
  LockedAway away;
  ExpectInChild([&] {
    BecomeOrdinaryUser();
    const std::unique_ptr<Index> index = away.Open();
    EXPECT_THAT(index->FileName(),
                ::testing::StartsWith(away.outer.File("open/cache/marrowfin/t.trace-")));
    EXPECT_EQ(Answers(*away.trace, *index, SHAPE, 1), FreshAnswers(*away.trace, SHAPE, 1));
    const Stamp before = Stamp::Of(index->FileName());
    EXPECT_EQ(away.Open()->FileName(), index->FileName());
    EXPECT_TRUE(Stamp::Of(index->FileName()) == before) << "the index was built again";
    EXPECT_THAT(FilesIn(away.outer.File("locked")), ::testing::ElementsAre("t.trace"));
  });
}

TEST(IndexTest, WithoutAnAbsoluteCacheVariableTheCacheFolderIsThatOfTheHome) {
  LockedAway away;
  ExpectInChild([&] {
    BecomeOrdinaryUser();
    ASSERT_EQ(chdir(away.outer.File("open").c_str()), 0);
    for (const char* cache : {"", "relative"}) {
      setenv("XDG_CACHE_HOME", cache, 1);
      EXPECT_THAT(away.Open()->FileName(),
                  ::testing::StartsWith(away.outer.File("open/home/.cache/marrowfin/t.trace-")));
    }
    EXPECT_FALSE(fs::exists("relative"));
  });
}

TEST(IndexTest, WhereNoFolderCanBeWrittenToTheIndexHasNoName) {
  LockedAway away;
  ExpectInChild([&] {
    BecomeOrdinaryUser();
    setenv("XDG_CACHE_HOME", away.outer.File("locked/cache").c_str(), 1);
    const std::unique_ptr<Index> index = away.Open();
    EXPECT_EQ(index->FileName(), "");
    EXPECT_EQ(Answers(*away.trace, *index, SHAPE, 1), FreshAnswers(*away.trace, SHAPE, 1));
    EXPECT_TRUE(FilesIn(away.outer.File("open")).empty()) << "a temporary file was left";
    EXPECT_THAT(FilesIn(away.outer.File("locked")), ::testing::ElementsAre("t.trace"));
  });
}

TEST(IndexTest, WhereNoIndexCanBeWrittenAtAllThatIsSaid) {
  LockedAway away;
  ExpectInChild([&] {
    BecomeOrdinaryUser();
    setenv("XDG_CACHE_HOME", away.outer.File("locked/cache").c_str(), 1);
    setenv("TMPDIR", away.outer.File("locked").c_str(), 1);
    const auto trace = OpenTrace(away.name);
    const Fault fault = Index::Open(*trace).Why();
    EXPECT_EQ(fault.kind, Fault::SYSTEM);
    EXPECT_EQ(fault.Text(),
              away.outer.File("locked") + ": cannot write the index: Permission denied");
  });
}

TEST(IndexTest, StaleIndexInAFolderThatCannotBeWrittenToIsPassedOver) {
  LockedAway away;
  WriteFile(away.name + ".mfindex", "not an index");
  ExpectInChild([&] {
    BecomeOrdinaryUser();
    const std::unique_ptr<Index> index = away.Open();
    EXPECT_THAT(index->FileName(), ::testing::StartsWith(away.outer.File("open/cache")));
    EXPECT_EQ(ReadFile(away.name + ".mfindex"), "not an index");
  });
}

TEST(IndexTest, IndexingThatIsStoppedLeavesNothing) {
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(Events(21, 40000)));
  const auto trace = OpenTrace(folder.File("t"));
  uint64_t last = 0;
  const auto stop = [&](const Progress& now) {
    EXPECT_GE(now.done, last);
    EXPECT_EQ(now.all, trace->Size());
    EXPECT_EQ(now.unit, Progress::BYTES);
    last = now.done;
    return now.done < now.all / 2;
  };
  EXPECT_EQ(Index::Open(*trace, stop).Why().kind, Fault::CANCELLED);
  EXPECT_GT(last, 0U);
  EXPECT_THAT(FilesIn(folder.Path()), ::testing::ElementsAre("t"));
}

TEST(IndexTest, ProgressEndsAtTheWholeTrace) {
  const TempDir folder;
  WriteFile(folder.File("t"), Encode(Events(22, 40000)));
  const auto trace = OpenTrace(folder.File("t"));
  uint64_t last = 0;
  EXPECT_TRUE(OpenIndex(*trace, [&](const Progress& now) { return (last = now.done, true); }));
  EXPECT_EQ(last, trace->Size());
}

// Lets a trace grow from size to size; the index must answer like a fresh one after each step.
// Returns how often it was extended.
int GrowThrough(const std::string& bytes, const std::vector<size_t>& sizes,
                const ArrayShape& shape) {
  const TempDir folder;
  const std::string name = folder.File("t");
  int extended = 0;
  for (const size_t size : sizes) {
    WriteFile(name, bytes.substr(0, size));
    const auto trace = OpenTrace(name);
    EXPECT_TRUE(trace);
    uint64_t firstDone = 0;
    const auto index = OpenIndex(*trace, [&](const Progress& now) {
      firstDone = firstDone == 0 ? now.done : firstDone;
      return true;
    });
    if (!index) {
      return extended;
    }
    // Whatever is built anew begins with the first batch.
    extended += firstDone > Columns::CAPACITY * LARGE_RECORD ? 1 : 0;
    const uint32_t seed = static_cast<uint32_t>(size);
    EXPECT_EQ(Answers(*trace, *index, shape, seed), FreshAnswers(*trace, shape, seed))
        << "at " << size << " bytes";
  }
  return extended;
}

std::vector<size_t> RandomSizes(std::mt19937& random, size_t most, size_t count) {
  std::vector<size_t> sizes;
  for (size_t i = 0; i < count; ++i) {
    sizes.push_back(random() % most);
  }
  sizes.push_back(most);
  std::sort(sizes.begin(), sizes.end());
  return sizes;
}

TEST(IndexTest, GrownTraceIsExtendedAndAnswersLikeAFreshIndex) {
  std::mt19937 random(23);
  const std::string bytes = Encode(Events(23, 150000));
  int extended = 0;
  // Nearly all of these sizes cut a record.
  for (int round = 0; round < 4; ++round) {
    extended += GrowThrough(bytes, RandomSizes(random, bytes.size(), 8), SHAPE);
  }
  EXPECT_GE(extended, 12) << "indexes were built anew instead";
}

TEST(IndexTest, TraceThatGrewManyTimesBySmallStepsAnswersLikeAFreshIndex) {
  std::mt19937 random(24);
  const std::string bytes = Encode(Events(24, 80000));
  std::vector<size_t> sizes;
  for (size_t size = bytes.size() / 2; size < bytes.size(); size += 40000 + random() % 40000) {
    sizes.push_back(size);
  }
  EXPECT_GE(GrowThrough(bytes, sizes, SHAPE), static_cast<int>(sizes.size()) - 1);
}

// New corners of the array, new switches, new threads and falling cycles turn up only later.
TEST(IndexTest, GrownTraceMayBringWhatWasNotThereBefore) {
  std::mt19937 random(25);
  std::vector<Event> events = Events(25, 80000);
  RandomTraceOptions wider;
  wider.shape = {4, 2, 4};
  wider.records = 80000;
  wider.perCycle = 30;
  wider.threads = 300;
  wider.falling = true;
  wider.firstCycle = events.back().cycle;
  for (const Event& event : RandomEvents(random, wider)) {
    events.push_back(event);
  }
  const std::string bytes = Encode(events);
  const size_t half = Encode({events.begin(), events.begin() + 80000}).size();
  EXPECT_GE(
      GrowThrough(bytes, {half - 100, half + 1000, half + 1200000, bytes.size()}, wider.shape), 3);
}

TEST(IndexTest, TraceThatGrewFromNothingIsIndexed) {
  const std::string bytes = Encode(Events(26, 40000));
  EXPECT_EQ(GrowThrough(bytes, {0, 1, 27, 28, 5000, bytes.size()}, SHAPE), 0)
      << "there is nothing to extend before the first boundary";
}

TEST(IndexTest, TraceThatGrewBehindAMalformedRecordEndsThereStill) {
  const std::string good = Encode(Events(27, 50000));
  EXPECT_EQ(GrowThrough(good + std::string(28, '\0') + good,
                        {good.size() + 10, good.size() + 28, 2 * good.size()}, SHAPE),
            2);
}

TEST(IndexTest, TwoProcessesThatIndexATraceAtOnceBothSucceed) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, Encode(Events(28, 60000)));
  for (int round = 0; round < 5; ++round) {
    fs::remove(name + ".mfindex");
    std::vector<pid_t> children;
    for (int i = 0; i < 3; ++i) {
      children.push_back(StartChild([&] {
        const auto trace = OpenTrace(name);
        const auto index = OpenIndex(*trace);
        ASSERT_TRUE(index);
        EXPECT_EQ(index->FileName(), name + ".mfindex");
        EXPECT_EQ(index->GetSummary().records, 60000U);
      }));
    }
    for (const pid_t child : children) {
      int status = -1;
      waitpid(child, &status, 0);
      EXPECT_EQ(status, 0);
    }
    EXPECT_THAT(FilesIn(folder.Path()), ::testing::UnorderedElementsAre("t", "t.mfindex"));
  }
}

}  // namespace
}  // namespace marrowfin::testing
