// marrowfin-trace index

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/Rights.h"
#include "tests/tools/RunningProgram.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/ForgeIndex.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::CommandResult;
using ::testing::ElementsAre;
using testing::ExpectInChild;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

// Some keyframes lie in a trace of so many records.
constexpr uint64_t SOME = 110000;

constexpr char whereTo[] =
    "  Name a file with -o, or set XDG_CACHE_HOME to a folder that can be written.\n";

class IndexCommandTest : public CommandFixture {
 protected:
  // The program while it writes an index, with nothing of the trace read yet.
  bool HoldIndexing(RunningProgram& program) const {
    return program.HoldWhen([this] { return HasFileLike(".mfpart-"); });
  }

  // What tells a file that was written anew from one that was not.
  static std::pair<ino_t, int64_t> VersionOf(const std::string& file) {
    struct stat status = {};
    EXPECT_EQ(0, stat(file.c_str(), &status)) << file;
    return {status.st_ino, status.st_mtim.tv_sec * 1000000000 + status.st_mtim.tv_nsec};
  }
};

TEST_F(IndexCommandTest, TheIndexLiesBesideTheTraceAndItsFileIsNamed) {
  LongTrace(SOME);
  const CommandResult result = Run({"index", "long.trace"});
  EXPECT_THAT(FolderContents(), ElementsAre("long.trace", "long.trace.mfindex"));
  const uint64_t size = fs::file_size(folder.File("long.trace.mfindex"));
  char share[32];
  snprintf(share, sizeof(share), "%.2f",
           100.0 * static_cast<double>(size) /
               static_cast<double>(fs::file_size(folder.File("long.trace"))));
  // A segment has 32,768 records and whatever its last batch of records brings.
  ExpectOutput("long.trace.mfindex: " + std::to_string(size) + " bytes, " + share +
                   " % of the trace, 3 keyframes\n",
               result);
  EXPECT_THAT(ContentsOf(cache.Path()), IsEmpty());
}

TEST_F(IndexCommandTest, JsonTellsWhatTheIndexIs) {
  LongTrace(SOME);
  const json told = RunForJson({"index", "long.trace"});
  const uint64_t size = fs::file_size(folder.File("long.trace.mfindex"));
  const double share =
      static_cast<double>(size) / static_cast<double>(fs::file_size(folder.File("long.trace")));
  EXPECT_EQ(7U, told.size()) << told;
  EXPECT_EQ("long.trace", told["trace"]);
  EXPECT_EQ("long.trace.mfindex", told["index"]);
  EXPECT_EQ(size, told["indexBytes"]);
  EXPECT_NEAR(share, told["share"].get<double>(), 1e-12);
  EXPECT_EQ(SOME, told["records"]);
  EXPECT_EQ(3, told["keyframes"]);
  EXPECT_EQ(true, told["wholeArray"]);
}

TEST_F(IndexCommandTest, AnIndexThatIsStillRightIsKept) {
  LongTrace(SOME);
  const CommandResult first = Run({"index", "long.trace"});
  const auto version = VersionOf(folder.File("long.trace.mfindex"));
  const CommandResult second = Run({"index", "long.trace"});
  ExpectOutput(first.out, second);
  EXPECT_EQ(0, Run({"state", "long.trace", "--step", "3"}).exitStatus);
  EXPECT_EQ(version, VersionOf(folder.File("long.trace.mfindex")));
  // It is not only kept, it is used: with no right to write anywhere there is no other.
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0555));
  setenv("XDG_CACHE_HOME", folder.File("cache").c_str(), 1);
  ExpectInChild([&] {
    GiveUpRights();
    ExpectOutput(first.out, Run({"index", "long.trace"}));
  });
  chmod(folder.Path().c_str(), 0755);
}

TEST_F(IndexCommandTest, TheIndexOfATraceThatHasGrownIsExtended) {
  const std::string longer = testing::ReadFile(LongTrace(SOME));
  testing::WriteFile(folder.File("t.trace"), longer.substr(0, longer.size() / 2));
  EXPECT_EQ(1, Run({"index", "t.trace"}).exitStatus) << "it is cut somewhere in a record";
  testing::WriteFile(folder.File("t.trace"), longer);
  const json grown = RunForJson({"index", "t.trace"});
  EXPECT_EQ(SOME, grown["records"]);
  EXPECT_EQ(3, grown["keyframes"]);
  EXPECT_THAT(FolderContents(), ElementsAre("long.trace", "t.trace", "t.trace.mfindex"));
}

TEST_F(IndexCommandTest, AnIndexThatIsDamagedIsBuiltAnew) {
  LongTrace(SOME);
  const std::string out = Run({"index", "long.trace"}).out;
  const std::string good = testing::ReadFile(folder.File("long.trace.mfindex"));
  // A byte of a section, which opening an index does not look at, and two of the directory.
  std::vector<std::string> bad = {good.substr(0, good.size() - 1), std::string()};
  for (const size_t at : {size_t{20}, good.size() / 2, good.size() - 40}) {
    bad.push_back(good);
    bad.back()[at] ^= 1;
  }
  for (const std::string& damaged : bad) {
    testing::WriteFile(folder.File("long.trace.mfindex"), damaged);
    ExpectOutput(out, Run({"index", "long.trace"}));
    EXPECT_TRUE(testing::ReadFile(folder.File("long.trace.mfindex")) == good);
  }
}

// A question notices damage when it needs what is damaged; it is answered all the same.
TEST_F(IndexCommandTest, AnIndexThatAQuestionFindsDamagedIsBuiltAnew) {
  LongTrace(SOME);
  const std::vector<std::vector<std::string>> questions = {
      {"state", "long.trace", "--cycle", "99999999"},
      {"events", "long.trace", "--count", "--region", "0,0:1,1"}};
  for (const std::vector<std::string>& question : questions) {
    const CommandResult sound = Run(question);
    const std::string good = testing::ReadFile(folder.File("long.trace.mfindex"));
    std::string bad = good;
    for (size_t at = 8; at < good.size() / 2; ++at) {
      bad[at] ^= 1;
    }
    testing::WriteFile(folder.File("long.trace.mfindex"), bad);
    ExpectOutput(sound.out, Run(question));
    EXPECT_TRUE(testing::ReadFile(folder.File("long.trace.mfindex")) == good) << question[0];
  }
}

// Its checksums hold and it is of the trace, but somebody made up what it says.
TEST_F(IndexCommandTest, AnIndexThatContradictsItsTraceIsBuiltAnew) {
  Trace("fire 1 0 1 1\nfire 2 0 9 1\nsend 3 0 1 1 9 9\nfire 4 0 1 9\n");
  testing::WriteFile(folder.File("r.toml"),
                     "[[rule]]\nname = \"r\"\nmeasure = \"elements.units\"\nequals = 100\n");
  const std::string file = folder.File("t.trace.mfindex");
  for (const std::vector<std::string>& question :
       {std::vector<std::string>{"state", "t.trace", "--cycle", "4", "-c", "1", "-d", "1", "-p",
                                 "4"},
        {"plot", "heat", "t.trace", "-o", "-", "-c", "1", "-d", "1", "-p", "10"},
        {"plot", "heat", "t.trace", "-o", "-"},
        {"state", "t.trace", "--cycle", "4"},
        {"render", "t.trace", "--natural", "--cycle", "4", "-o", "-"},
        {"render", "t.trace", "--natural", "--sheet", "2x2", "-o", "-"},
        {"render", "t.trace", "--natural", "--film", "apng", "-o", "-"},
        {"render", "t.trace", "--sheet", "2x1", "-o", "-"},
        {"render", "t.trace", "--film", "apng", "-o", "-"},
        {"render", "t.trace", "--step", "2", "-o", "-"},
        {"state", "t.trace", "--step", "2"},
        {"stats", "t.trace"},
        {"stats", "t.trace", "--csv", "time"},
        {"expect", "r.toml", "t.trace"}}) {
    SCOPED_TRACE(question[0]);
    fs::remove(file);
    const CommandResult sound = Run(question);
    const std::string good = testing::ReadFile(file);
    testing::ForgeIndex(file, [](IndexTables& tables) {
      tables.summary.fired = tables.summary.sent = tables.summary.array = {4, 4};
      tables.summary.far = {};
    });
    EXPECT_FALSE(testing::ReadFile(file) == good);
    const CommandResult forged = Run(question);
    EXPECT_EQ(forged.exitStatus, sound.exitStatus);
    EXPECT_EQ(forged.err, sound.err);
    EXPECT_TRUE(forged.out == sound.out);
    EXPECT_TRUE(testing::ReadFile(file) == good);
  }
}

TEST_F(IndexCommandTest, WhatIsCountedOfALongTraceIsKeptBesideItsIndex) {
  ASSERT_EQ(0, Run({"synth", "-o", "long.trace", "--records", "1100000", "-c", "2"}).exitStatus);
  const std::vector<std::string> question = {"stats", "long.trace", "--json"};
  const std::string counted = Run(question).out;
  const std::string file = folder.File("long.trace.mfcounts");
  ASSERT_TRUE(fs::exists(file));
  const auto written = fs::last_write_time(file);
  EXPECT_TRUE(Run(question).out == counted);
  EXPECT_TRUE(fs::last_write_time(file) == written) << "it was counted again";
  testing::WriteFile(file, "no counts");
  EXPECT_TRUE(Run(question).out == counted);
  EXPECT_NE(testing::ReadFile(file), "no counts");
}

TEST_F(IndexCommandTest, AnOutputThatIsNamedIsBuiltAnewThere) {
  LongTrace(SOME);
  for (const char* flag : {"-o", "--output"}) {
    testing::WriteFile(folder.File("mine"), "something else");
    const auto version = VersionOf(folder.File("mine"));
    ExpectFailure(2,
                  "mine: exists already\n  Name another file, or replace this one with --force.\n",
                  Run({"index", "long.trace", flag, "mine"}));
    EXPECT_EQ(version, VersionOf(folder.File("mine")));
    EXPECT_THAT(Run({"index", "long.trace", flag, "mine", "--force"}).out, StartsWith("mine: "));
    EXPECT_NE(version, VersionOf(folder.File("mine")));
    EXPECT_THAT(FolderContents(), ElementsAre("long.trace", "mine"));
    EXPECT_THAT(testing::ReadFile(folder.File("mine")), StartsWith("MFINDEX3"));
  }
  const auto version = VersionOf(folder.File("mine"));
  EXPECT_EQ("mine", RunForJson({"index", "long.trace", "-o", "mine"})["index"]);
  EXPECT_NE(version, VersionOf(folder.File("mine"))) << "one that is right is built anew, too";
}

TEST_F(IndexCommandTest, TheTraceIsNeverReplaced) {
  const std::string bytes = testing::ReadFile(LongTrace(1000));
  fs::create_symlink("long.trace", folder.File("link"));
  fs::create_hard_link(folder.File("long.trace"), folder.File("hard"));
  for (const std::string name : {"long.trace", "./long.trace", "link", "hard"}) {
    ExpectFailure(2, name + ": is the trace\n  Name another file with -o.\n",
                  Run({"index", "long.trace", "-o", name}));
  }
  EXPECT_TRUE(testing::ReadFile(folder.File("long.trace")) == bytes);
  EXPECT_THAT(FolderContents(), ElementsAre("hard", "link", "long.trace"));
}

TEST_F(IndexCommandTest, WhatIsNoPlainFileIsNotReplaced) {
  LongTrace(1000);
  ASSERT_EQ(0, mkfifo(folder.File("pipe").c_str(), 0600));
  fs::create_directory(folder.File("folder"));
  for (const std::string name : {"pipe", "folder"}) {
    ExpectFailure(3,
                  name +
                      ": cannot write the index: is no plain file\n"
                      "  Name another file with -o.\n",
                  Run({"index", "long.trace", "-o", name}));
  }
  EXPECT_TRUE(fs::is_fifo(folder.File("pipe")));
  EXPECT_THAT(FolderContents(), ElementsAre("folder", "long.trace", "pipe"));
}

TEST_F(IndexCommandTest, AProtectedFileIsNotReplaced) {
  LongTrace(1000);
  testing::WriteFile(folder.File("mine"), "precious");
  ASSERT_EQ(0, chmod(folder.File("mine").c_str(), 0444));
  ExpectInChild([&] {
    GiveUpRights();
    ExpectFailure(3, "mine: cannot replace: Permission denied\n  Name another file with -o.\n",
                  Run({"index", "long.trace", "-o", "mine"}));
  });
  EXPECT_EQ("precious", testing::ReadFile(folder.File("mine")));
}

TEST_F(IndexCommandTest, ALinkStaysALinkAndItsFileIsReplaced) {
  LongTrace(1000);
  fs::create_directory(folder.File("elsewhere"));
  testing::WriteFile(folder.File("elsewhere/index"), "old");
  fs::create_symlink("elsewhere/index", folder.File("link"));
  EXPECT_EQ(0, Run({"index", "long.trace", "-o", "link", "--force"}).exitStatus);
  EXPECT_TRUE(fs::is_symlink(folder.File("link")));
  EXPECT_THAT(testing::ReadFile(folder.File("elsewhere/index")), StartsWith("MFINDEX3"));
  EXPECT_THAT(ContentsOf(folder.File("elsewhere")), ElementsAre("index"));
}

TEST_F(IndexCommandTest, AMissingFolderForTheOutputIsReported) {
  LongTrace(1000);
  ExpectFailure(3,
                "none/index: cannot write the index: No such file or directory\n"
                "  Make room there, or choose another place with -o.\n",
                Run({"index", "long.trace", "-o", "none/index"}));
}

TEST_F(IndexCommandTest, WhereTheFolderCannotBeWrittenToTheIndexLiesInTheCacheFolder) {
  LongTrace(1000);
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0555));
  ExpectInChild([&] {
    GiveUpRights();
    const json first = RunForJson({"index", "long.trace"});
    const std::string index = first["index"];
    EXPECT_THAT(index, StartsWith(cache.File("home/marrowfin/long.trace-")));
    EXPECT_EQ(first["indexBytes"], fs::file_size(index));
    EXPECT_THAT(ContentsOf(cache.File("home/marrowfin")), ElementsAre(fs::path(index).filename()));
    const auto version = VersionOf(index);
    EXPECT_EQ(first, RunForJson({"index", "long.trace"}));
    EXPECT_EQ(0, Run({"state", "long.trace", "--step", "1"}).exitStatus);
    EXPECT_EQ(version, VersionOf(index));
  });
  EXPECT_THAT(FolderContents(), ElementsAre("long.trace"));
  chmod(folder.Path().c_str(), 0755);
}

TEST_F(IndexCommandTest, WhereNoIndexCanBeKeptItSaysSoAndStatesAreToldAllTheSame) {
  LongTrace(1000);
  ASSERT_EQ(0, chmod(folder.Path().c_str(), 0555));
  ASSERT_EQ(0, chmod(cache.Path().c_str(), 0555));
  ExpectInChild([&] {
    GiveUpRights();
    const CommandResult result = Run({"index", "long.trace"});
    ExpectFailure(3,
                  std::string("long.trace: no index can be kept: neither beside the trace nor in "
                              "the cache folder (cannot write the index: Permission denied)\n") +
                      whereTo,
                  result);
    const CommandResult state = Run({"state", "long.trace", "--step", "1"});
    EXPECT_EQ(0, state.exitStatus);
    EXPECT_THAT(state.out, StartsWith("long.trace: step 1, "));
    EXPECT_EQ(
        "marrowfin-trace: long.trace: no index can be kept: neither beside the trace nor in the "
        "cache folder (cannot write the index: Permission denied)\n"
        "  Set XDG_CACHE_HOME to a folder that can be written, or every question reads the whole "
        "trace.\n",
        state.err);
  });
  EXPECT_THAT(FolderContents(), ElementsAre("long.trace"));
  EXPECT_THAT(ContentsOf(cache.Path()), IsEmpty());
  chmod(folder.Path().c_str(), 0755);
  chmod(cache.Path().c_str(), 0755);
}

TEST_F(IndexCommandTest, AFullDiskIsAnErrorAndNothingHalfWrittenStays) {
  LongTrace(SOME);
  fs::create_directory(folder.File("disk"));
  ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(testing::MountSmallDisk(folder.File("disk"), 64 << 10));
    testing::WriteFile(folder.File("disk/old"), "old");
    ASSERT_NO_FATAL_FAILURE(testing::FillDisk(folder.File("disk")));
    for (const std::string name : {"disk/new", "disk/old"}) {
      ExpectFailure(3,
                    name +
                        ": cannot write the index: No space left on device\n"
                        "  Make room there, or choose another place with -o.\n",
                    Run({"index", "long.trace", "-o", name, "--force"}));
      EXPECT_THAT(ContentsOf(folder.File("disk")), ElementsAre("filler", "old"));
    }
    EXPECT_EQ("old", testing::ReadFile(folder.File("disk/old")));
  });
}

TEST_F(IndexCommandTest, FullDisksEverywhereAreAnErrorAndNothingHalfWrittenStays) {
  const std::string bytes = testing::ReadFile(LongTrace(SOME));
  fs::create_directory(folder.File("disk"));
  ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(testing::MountSmallDisk(folder.File("disk"), 8 << 20));
    testing::WriteFile(folder.File("disk/t.trace"), bytes);
    ASSERT_NO_FATAL_FAILURE(testing::FillDisk(folder.File("disk")));
    setenv("TMPDIR", folder.File("disk").c_str(), 1);
    // The test keeps what the program prints in a file of its own.
    const auto run = [&](const std::string& home, const std::string& arguments) {
      return Shell("XDG_CACHE_HOME=" + home + " \"$0\" " + arguments + " > out 2>&1");
    };
    EXPECT_EQ(0, run(cache.File("home"), "index disk/t.trace").exitStatus);
    EXPECT_THAT(testing::ReadFile(folder.File("out")),
                StartsWith(cache.File("home/marrowfin/t.trace-")));
    fs::remove_all(cache.File("home"));
    for (const char* arguments : {"index disk/t.trace", "state disk/t.trace --step 1"}) {
      EXPECT_EQ(3, run(folder.File("disk/cache"), arguments).exitStatus) << arguments;
      EXPECT_EQ("marrowfin-trace: " + folder.File("disk") +
                    ": cannot write the index: No space left on device\n"
                    "  Make room, or set XDG_CACHE_HOME to a folder that has some.\n",
                testing::ReadFile(folder.File("out")));
      EXPECT_THAT(ContentsOf(folder.File("disk")), ::testing::Contains("t.trace"));
      EXPECT_THAT(ContentsOf(folder.File("disk")),
                  ::testing::Not(::testing::Contains(HasSubstr("mfindex"))));
    }
    EXPECT_TRUE(testing::ReadFile(folder.File("disk/t.trace")) == bytes);
  });
}

TEST_F(IndexCommandTest, WhatAKilledRunLeavesTheNextOneRemoves) {
  LongTrace(SOME);
  for (const std::string output : {"long.trace.mfindex", "mine"}) {
    const std::vector<std::string> words =
        output == "mine" ? Words({"index", folder.File("long.trace"), "-o", folder.File("mine")})
                         : Words({"index", folder.File("long.trace")});
    RunningProgram program(words, RunningProgram::TO_FILE, RunningProgram::FOR_HOLDING);
    ASSERT_TRUE(HoldIndexing(program));
    program.Signal(SIGKILL);
    EXPECT_EQ(SIGKILL, WTERMSIG(program.Wait()));
    EXPECT_TRUE(HasFileLike(output + ".mfpart-"));
    EXPECT_FALSE(fs::exists(folder.File(output)));
    EXPECT_EQ(0, testing::RunCommand(words).exitStatus);
    EXPECT_THAT(FolderContents(), ElementsAre("long.trace", output));
    fs::remove(folder.File(output));
  }
}

TEST_F(IndexCommandTest, ASignalInTheMiddleLeavesNothing) {
  LongTrace(SOME);
  const std::vector<std::vector<std::string>> lines = {
      Words({"index", folder.File("long.trace")}),
      Words({"index", folder.File("long.trace"), "-o", folder.File("mine")}),
      Words({"state", folder.File("long.trace"), "--step", "9"}),
  };
  for (const std::vector<std::string>& words : lines) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
      SCOPED_TRACE(::testing::PrintToString(words) + " " + std::to_string(signal));
      RunningProgram program(words, RunningProgram::TO_FILE, RunningProgram::FOR_HOLDING);
      ASSERT_TRUE(HoldIndexing(program));
      program.Signal(signal);
      program.Release();
      const int status = program.Wait();
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
      EXPECT_EQ("", program.Out());
      EXPECT_EQ("", program.Err());
      EXPECT_THAT(FolderContents(), ElementsAre("long.trace"));
    }
  }
}

TEST_F(IndexCommandTest, ASignalThatIsIgnoredStaysIgnored) {
  LongTrace(SOME);
  std::vector<std::string> words = Words({"index", folder.File("long.trace")});
  words.insert(words.begin(), {"/bin/sh", "-c", "trap '' HUP; exec \"$0\" \"$@\""});
  RunningProgram program(words, RunningProgram::TO_FILE, RunningProgram::FOR_HOLDING);
  ASSERT_TRUE(HoldIndexing(program));
  program.Signal(SIGHUP);
  program.Release();
  EXPECT_EQ(0, program.Wait());
  EXPECT_THAT(FolderContents(), ElementsAre("long.trace", "long.trace.mfindex"));
}

TEST_F(IndexCommandTest, ALongRunShowsShareRateAndTimeLeftOnATerminalAndErasesThem) {
  LongTrace(SOME);
  const std::string trace = folder.File("long.trace");
  for (const std::vector<std::string>& line : std::vector<std::vector<std::string>>{
           {"index", trace, "-o", folder.File("mine")}, {"index", trace}}) {
    RunningProgram program(Words(line), RunningProgram::TO_TERMINAL, RunningProgram::FOR_HOLDING);
    ASSERT_TRUE(HoldIndexing(program));
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    program.Release();
    EXPECT_EQ(0, program.Wait());
    EXPECT_THAT(program.Err(),
                MatchesRegex("(\r.\\[Kindexing " + trace +
                             " +[0-9]+ %, [0-9]+\\.[0-9] MB/s, [0-9]+ s left)+\r.\\[K"));
  }
}

TEST_F(IndexCommandTest, ALongRunIsSilentWhereNoTerminalIs) {
  LongTrace(SOME);
  RunningProgram program(Words({"index", folder.File("long.trace")}), RunningProgram::TO_FILE,
                         RunningProgram::FOR_HOLDING);
  ASSERT_TRUE(HoldIndexing(program));
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  program.Release();
  EXPECT_EQ(0, program.Wait());
  EXPECT_EQ("", program.Err());
}

TEST_F(IndexCommandTest, ATraceThatBreaksOffIsIndexedUpToTheFault) {
  testing::WriteFile(folder.File("t.trace"),
                     testing::TraceBytes("fire 1 0 0 0\nfire 2 0 0 0\n").substr(0, 40));
  for (int round = 0; round < 2; ++round) {
    const CommandResult result = Run({"index", "t.trace"});
    EXPECT_EQ(1, result.exitStatus);
    EXPECT_THAT(result.out, StartsWith("t.trace.mfindex: "));
    EXPECT_EQ(
        "marrowfin-trace: t.trace: record 1 at byte 28: the trace ends after 12 of the 20 bytes "
        "of a header\n  Run the simulator to its end, or use the records before it.\n",
        result.err);
    EXPECT_EQ(1, RunForJson({"index", "t.trace"}, 1)["records"]);
  }
}

TEST_F(IndexCommandTest, AnArrayTooLargeForKeyframesIsTold) {
  Trace("fire 1 0 4000000 4000000\n");
  EXPECT_EQ(false, RunForJson({"index", "t.trace"})["wholeArray"]);
}

TEST_F(IndexCommandTest, PipesAndPackedTracesAreRefusedWithARemedy) {
  Trace("fire 1 0 0 0\n");
  // Some packers put a frame in front that unpackers skip.
  ASSERT_EQ(0, Shell("gzip -k t.trace && zstd -q t.trace && mkfifo pipe && "
                     "printf 'P*M\\030\\0\\0\\0\\0' | cat - t.trace.zst > skip.zst")
                   .exitStatus);
  for (const char* name : {"t.trace.gz", "t.trace.zst", "skip.zst", "pipe"}) {
    const CommandResult result = Run({"index", name});
    EXPECT_EQ(1, result.exitStatus);
    EXPECT_THAT(result.err, MatchesRegex("marrowfin-trace: " + std::string(name) +
                                         ": .*cannot be read out of order\n"
                                         "  Copy or unpack it into a plain file.\n"));
  }
  EXPECT_FALSE(HasFileLike("mfindex"));
}

}  // namespace
}  // namespace marrowfin
