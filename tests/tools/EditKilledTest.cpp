// Programs that make traces, and what other programs read, killed at any moment and where there is
// no room; and how much memory they take.

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <map>
#include <random>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/FilesWithin.h"
#include "tests/tools/Rights.h"
#include "tests/trace/support/Child.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;
using testing::CommandResult;

typedef std::vector<std::string> Line;

class EditKilledTest : public CommandFixture {
 protected:
  // Starts the program with its output thrown away.
  pid_t Start(const Line& words) const {
    const Line all = Words(words);
    fflush(nullptr);  // or the child writes it once more
    const pid_t child = fork();
    if (child == 0) {
      testing::TakeSignalsAgain();
      if (chdir(folder.Path().c_str()) == 0 && freopen("/dev/null", "w", stdout) != nullptr) {
        std::vector<char*> arguments;
        for (const std::string& word : all) {
          arguments.push_back(const_cast<char*>(word.c_str()));
        }
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
      }
      _exit(127);
    }
    return child;
  }

  std::string Bytes(const std::string& name) const { return testing::ReadFile(folder.File(name)); }
};

// A command line that makes files. Of one, what stands behind it lies beside it and tells of it; of
// several pieces each is whole by itself.
struct Making {
  std::string name;
  Line words;
  Line made;
  bool pieces = false;
};

const std::vector<Making> makings = {
    {"cut", {"cut", "t.trace", "--not", "--threads", "1", "-o", "made.trace"}, {"made.trace"}},
    {"cutNoted",
     {"cut", "n.trace", "--not", "--threads", "1", "-o", "made.trace"},
     {"made.trace", "made.trace.notes", "made.trace.about"}},
    {"cutPacked", {"cut", "n.trace", "--not", "--threads", "1", "-o", "made.mfz"}, {"made.mfz"}},
    {"sort", {"sort", "t.trace", "-o", "made.trace"}, {"made.trace"}},
    {"merge", {"merge", "t.trace", "n.trace", "-o", "made.trace"}, {"made.trace"}},
    {"shift", {"shift", "t.trace", "--later", "7", "-o", "made.trace"}, {"made.trace"}},
    {"head", {"head", "t.trace", "-n", "40000", "-o", "made.trace"}, {"made.trace"}},
    {"tail", {"tail", "t.trace", "-n", "40000", "-o", "made.trace"}, {"made.trace"}},
    {"split",
     {"split", "t.trace", "--every-records", "20000", "-o", "made.trace"},
     {"made-0001.trace", "made-0002.trace", "made-0003.trace"},
     true},
    {"pack", {"pack", "n.trace", "-o", "made.mfz"}, {"made.mfz"}},
    {"unpack",
     {"unpack", "n.mfz", "-o", "made.trace"},
     {"made.trace", "made.trace.notes", "made.trace.about"}},
    {"importStream",
     {"import", "--format", "csv", "t.csv", "-o", "made.trace"},
     {"made.trace", "made.trace.notes", "made.trace.about"}},
    {"importPacked", {"import", "--format", "csv", "t.csv", "-o", "made.mfz"}, {"made.mfz"}},
    {"importCapture",
     {"import", "--format", "tt-npe", "in.json", "-o", "made.trace"},
     {"made.trace", "made.trace.notes", "made.trace.about"}},
    {"exportLines", {"export", "n.trace", "-o", "made.csv"}, {"made.csv"}},
    {"exportChrome", {"export", "n.trace", "-o", "made.json"}, {"made.json"}},
    {"exportPerfetto", {"export", "n.trace", "-o", "made.pftrace"}, {"made.pftrace"}},
    {"exportWaveform", {"export", "n.trace", "-o", "made.vcd"}, {"made.vcd"}},
    {"exportColumns", {"export", "n.trace", "-o", "made.h5"}, {"made.h5"}},
    {"exportDatabase", {"export", "n.trace", "-o", "made.sqlite"}, {"made.sqlite"}},
    {"query", {"query", "t.trace", "select * from fires", "-o", "made.txt"}, {"made.txt"}},
};

class MakingTest : public EditKilledTest, public ::testing::WithParamInterface<Making> {
 protected:
  // t.trace, n.trace with a companion, n.mfz with it within, t.csv and in.json
  void SetUp() override {
    LongTrace(60000, "t.trace");
    std::string capture = "[";
    for (int i = 0; i < 5000; ++i) {
      capture += std::string(i == 0 ? "" : ",") + R"({"proc":"BRISC","sx":1,"sy":2,"timestamp":)" +
                 std::to_string(i) + R"(,"type":"WRITE_FLUSH"})";
    }
    testing::WriteFile(folder.File("in.json"), capture + "]");
    for (const Line& line : std::vector<Line>{
             {"index", "t.trace"},
             {"events", "t.trace", "--limit", "20000", "--format", "csv", "-o", "t.csv"},
             {"import", "--format", "csv", "t.csv", "-o", "n.trace"},
             {"index", "n.trace"},
             {"pack", "n.trace", "-o", "n.mfz"}}) {
      ASSERT_EQ(0, Run(line).exitStatus) << line[0];
    }
  }

  // The command line, and the same that makes its files in another folder.
  static Line Forced(Line words) {
    words.push_back("--force");
    return words;
  }
  static Line Into(const std::string& elsewhere) {
    Line words = GetParam().words;
    const auto output = std::find(words.begin(), words.end(), "-o") + 1;
    *output = elsewhere + "/" + *output;
    return words;
  }

  // What there is of the files, nothing of those that are not there.
  std::vector<std::string> Made() const {
    std::vector<std::string> made;
    for (const std::string& name : GetParam().made) {
      made.push_back(fs::exists(folder.File(name)) ? Bytes(name) : "");
    }
    return made;
  }
};

class KilledTest : public MakingTest {};

TEST_P(KilledTest, OfAProgramThatIsKilledTheOutputIsTheOldOneOrTheWholeNewOne) {
  constexpr int ROUNDS = 16;
  const Making& making = GetParam();
  const Line words = Forced(making.words);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(0, Run(words).exitStatus);
  const auto took = std::chrono::steady_clock::now() - start;
  const auto most = std::chrono::duration_cast<std::chrono::microseconds>(took).count() * 5 / 4;
  const std::vector<std::string> whole = Made();
  std::mt19937 random(1);
  int old = 0;
  for (int round = 0; round < ROUNDS; ++round) {
    for (size_t i = 0; i < making.made.size(); ++i) {
      if (i == 0 || making.pieces) {
        testing::WriteFile(folder.File(making.made[i]), "of old");
      }
    }
    const pid_t child = Start(words);
    usleep(static_cast<useconds_t>(random() % static_cast<uint64_t>(most)));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    const std::vector<std::string> there = Made();
    for (size_t i = 0; i < there.size(); ++i) {
      const bool byItself = i == 0 || making.pieces;
      const bool isOld = (byItself ? there[i] : there[0]) == "of old";
      ASSERT_TRUE(there[i] == whole[i] || isOld) << making.made[i] << " in round " << round;
    }
    old += there[making.pieces ? there.size() - 1 : 0] == "of old" ? 1 : 0;
  }
  EXPECT_LT(0, old) << "it was killed too late";
  // What is left over goes with the next run.
  ASSERT_EQ(0, Run(words).exitStatus);
  EXPECT_TRUE(whole == Made());
  EXPECT_FALSE(HasFileLike(".mfpart-"));
}

class UnwrittenTest : public MakingTest {};

TEST_P(UnwrittenTest, AFullDiskIsToldAndNothingIsLostOrLeft) {
  const std::string disk = folder.File("disk");
  fs::create_directory(disk);
  testing::ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(testing::MountSmallDisk(disk, 16 << 10));
    const std::string output = "disk/" + GetParam().made[0];
    testing::WriteFile(folder.File(output), "of old");
    const CommandResult result = Run(Forced(Into("disk")));
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.err, ::testing::ContainsRegex(
                                "made.*: cannot write: (No space left on device|database or disk "
                                "is full)\n"));
    EXPECT_EQ("of old", Bytes(output));
    EXPECT_THAT(ContentsOf(disk), ::testing::ElementsAre(GetParam().made[0]));
  });
}

TEST_P(UnwrittenTest, AFolderThatMayNotBeWrittenIsTold) {
  const std::string closed = folder.File("closed");
  fs::create_directory(closed);
  ASSERT_EQ(0, chmod(closed.c_str(), 0500));
  testing::ExpectInChild([&] {
    GiveUpRights();
    const CommandResult result = Run(Into("closed"));
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.err, ::testing::HasSubstr("closed/made"));
    EXPECT_THAT(result.err, ::testing::HasSubstr(": cannot create: Permission denied\n"));
  });
  EXPECT_TRUE(fs::is_empty(closed));
}

std::string NameOf(const ::testing::TestParamInfo<Making>& test) { return test.param.name; }
INSTANTIATE_TEST_SUITE_P(Commands, KilledTest, ::testing::ValuesIn(makings), NameOf);
INSTANTIATE_TEST_SUITE_P(Commands, UnwrittenTest, ::testing::ValuesIn(makings), NameOf);

// A folder of many files, of which the library of the format writes one after the other.
class KilledFolderTest : public EditKilledTest {
 protected:
  void SetUp() override {
    LongTrace(3000, "t.trace");
    LongTrace(500, "old.trace");
  }

  std::map<std::string, std::string> FilesOf(const std::string& name) const {
    return testing::FilesWithin(folder.File(name));
  }

  void ExportTo(const std::string& name, const std::string& trace) const {
    const CommandResult result = Run({"export", trace, "-o", name, "--force"});
    ASSERT_EQ(0, result.exitStatus) << result.err;
  }
};

TEST_F(KilledFolderTest, OfAnExportThatIsKilledTheFolderIsTheOldOneOrTheWholeNewOne) {
  constexpr int ROUNDS = 8;
  ExportTo("old.otf2", "old.trace");
  const auto start = std::chrono::steady_clock::now();
  ExportTo("new.otf2", "t.trace");
  const auto took = std::chrono::steady_clock::now() - start;
  const auto most = std::chrono::duration_cast<std::chrono::microseconds>(took).count() * 5 / 4;
  const std::map<std::string, std::string> old = FilesOf("old.otf2");
  const std::map<std::string, std::string> whole = FilesOf("new.otf2");
  ASSERT_NE(old, whole);
  std::mt19937 random(1);
  int kept = 0;
  for (int round = 0; round < ROUNDS; ++round) {
    ExportTo("made.otf2", "old.trace");
    const pid_t child = Start({"export", "t.trace", "-o", "made.otf2", "--force"});
    usleep(static_cast<useconds_t>(random() % static_cast<uint64_t>(most)));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const std::map<std::string, std::string> there = FilesOf("made.otf2");
    ASSERT_TRUE(there == old || there == whole) << "in round " << round;
    kept += there == old ? 1 : 0;
  }
  EXPECT_LT(0, kept) << "it was killed too late";
  // What is left over goes with the next run.
  ExportTo("made.otf2", "t.trace");
  EXPECT_TRUE(whole == FilesOf("made.otf2"));
  EXPECT_FALSE(HasFileLike(".mfpart-"));
}

TEST_F(KilledFolderTest, AFullDiskIsToldAndTheOldFolderStays) {
  const std::string disk = folder.File("disk");
  fs::create_directory(disk);
  testing::ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(testing::MountSmallDisk(disk, 4 << 20));
    LongTrace(200000, "long.trace");
    ExportTo("disk/made.otf2", "old.trace");
    const std::map<std::string, std::string> old = FilesOf("disk/made.otf2");
    const CommandResult result = Run({"export", "long.trace", "-o", "disk/made.otf2", "--force"});
    EXPECT_EQ(3, result.exitStatus) << result.err;
    EXPECT_THAT(result.err, ::testing::HasSubstr("made.otf2"));
    EXPECT_TRUE(old == FilesOf("disk/made.otf2"));
    EXPECT_THAT(ContentsOf(disk), ::testing::ElementsAre("made.otf2"));
  });
}

TEST_F(KilledFolderTest, AFolderThatMayNotBeWrittenIsTold) {
  const std::string closed = folder.File("closed");
  fs::create_directory(closed);
  ASSERT_EQ(0, chmod(closed.c_str(), 0500));
  testing::ExpectInChild([&] {
    GiveUpRights();
    const CommandResult result = Run({"export", "t.trace", "-o", "closed/made.otf2"});
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.err, ::testing::HasSubstr("closed/made.otf2"));
    EXPECT_THAT(result.err, ::testing::HasSubstr("Permission denied"));
  });
  EXPECT_TRUE(fs::is_empty(closed));
}

// Lets AddressSanitizer keep little of what the programs freed, or that is most of their memory.
void KeepLittleOfWhatIsFreed() {
  const char* const ours = getenv("ASAN_OPTIONS");
  const std::string options =
      (ours == nullptr ? "" : std::string(ours) + ":") + "quarantine_size_mb=1";
  setenv("ASAN_OPTIONS", options.c_str(), 1);
}

// The most memory that a run had, in KiB. A child begins as a copy of this program, which is small.
long PeakOf(pid_t child) {
  struct rusage usage = {};
  int status = -1;
  EXPECT_EQ(child, wait4(child, &status, 0, &usage));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  return usage.ru_maxrss;
}

class EditMemoryTest : public EditKilledTest, public ::testing::WithParamInterface<Line> {};

// Both traces are larger than what of a file that is mapped stays in the process.
TEST_P(EditMemoryTest, MemoryDoesNotFollowTheTrace) {
  constexpr uint64_t SMALL = 2400000;
  constexpr uint64_t LARGE = 6000000;
  KeepLittleOfWhatIsFreed();
  LongTrace(SMALL, "small.trace");
  LongTrace(LARGE, "large.trace");
  const long difference = static_cast<long>(
      (fs::file_size(folder.File("large.trace")) - fs::file_size(folder.File("small.trace"))) >>
      10);
  long peaks[2] = {};
  for (const bool large : {false, true}) {
    Line words = GetParam();
    words.insert(words.begin() + 1, large ? "large.trace" : "small.trace");
    words.insert(words.end(), {"-o", "made.trace", "--force"});
    peaks[large ? 1 : 0] = PeakOf(Start(words));
  }
  EXPECT_LT(peaks[1] - peaks[0], difference / 4) << peaks[0] << " KiB";
}

INSTANTIATE_TEST_SUITE_P(Commands, EditMemoryTest,
                         ::testing::Values(Line{"cut", "--not", "--threads", "1"},
                                           Line{"tail", "-n", "2000000"},
                                           Line{"shift", "--later", "7"},
                                           Line{"split", "--every-records", "1500000"},
                                           Line{"sort", "--memory", "16M"}, Line{"merge"}),
                         [](const auto& test) { return test.param[0]; });

// What is read or written here is no trace that is mapped, so that shorter ones will do.
class StreamMemoryTest : public EditKilledTest, public ::testing::WithParamInterface<Line> {
 protected:
  static constexpr uint64_t SMALL = 400000;
  static constexpr uint64_t LARGE = 1600000;

  // The input of a size that a command takes, by the ending that stands for it.
  std::string Input(const std::string& ending, bool large) const {
    const std::string trace = LongTrace(large ? LARGE : SMALL, "in.trace");
    const std::string name = "in." + ending;
    if (ending == "mfz") {
      EXPECT_EQ(0, Run({"pack", trace, "-o", name, "--force"}).exitStatus);
    } else if (ending != "trace") {
      EXPECT_EQ(0, Run({"events", trace, "--format", ending, "-o", name, "--force"}).exitStatus);
    }
    return name;
  }
};

TEST_P(StreamMemoryTest, MemoryDoesNotFollowTheInput) {
  KeepLittleOfWhatIsFreed();
  constexpr long DIFFERENCE = (LARGE - SMALL) * 28 >> 10;  // of the traces, in KiB
  long peaks[2] = {};
  for (const bool large : {false, true}) {
    Line words = GetParam();
    words[1] = Input(words[1], large);
    words.push_back("--force");
    peaks[large ? 1 : 0] = PeakOf(Start(words));
  }
  EXPECT_LT(peaks[1] - peaks[0], DIFFERENCE / 4) << peaks[0] << " KiB";
}

INSTANTIATE_TEST_SUITE_P(
    Commands, StreamMemoryTest,
    ::testing::Values(
        Line{"pack", "trace", "-o", "made.mfz"}, Line{"unpack", "mfz", "-o", "made.trace"},
        Line{"import", "csv", "--format", "csv", "-o", "made.trace"},
        Line{"import", "jsonl", "--format", "jsonl", "-o", "made.mfz"},
        Line{"export", "mfz", "-o", "made.csv"}, Line{"export", "mfz", "-o", "made.jsonl"},
        Line{"export", "mfz", "-o", "made.json"}, Line{"export", "mfz", "-o", "made.pftrace"},
        Line{"export", "mfz", "-o", "made.vcd"}, Line{"export", "mfz", "-o", "made.h5"},
        Line{"export", "mfz", "-o", "made.sqlite"}),
    [](const auto& test) {
      const std::string& output = test.param.back();
      return test.param[0] + "_" + test.param[1] + "_" + output.substr(output.rfind('.') + 1);
    });

}  // namespace
}  // namespace marrowfin
