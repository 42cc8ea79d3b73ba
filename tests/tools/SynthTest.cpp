// marrowfin-trace synth

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>
#include <thread>

#include "tests/tools/CommandFixture.h"
#include "tests/tools/RunningProgram.h"
#include "tests/tools/TraceRecords.h"
#include "tests/trace/support/Child.h"

namespace marrowfin {
namespace {

namespace fs = std::filesystem;
using testing::CommandResult;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class SynthTest : public CommandFixture {
 protected:
  // The bytes of a trace that is made so.
  std::string Made(std::vector<std::string> flags) const {
    flags.insert(flags.begin(), {"synth", "-o", "made", "--force"});
    const CommandResult result = Run(flags);
    EXPECT_EQ(0, result.exitStatus) << result.err;
    EXPECT_EQ("", result.err);
    return testing::ReadFile(folder.File("made"));
  }

  // The temporary of an output that is being written.
  bool HoldWriting(RunningProgram& program) const {
    return program.HoldWhen([this] { return HasFileLike(".mfpart-"); });
  }
};

// What the whole program promises of both modes.
const std::vector<std::vector<std::string>> modes = {{}, {"--random"}};

std::vector<std::string> With(const std::vector<std::string>& mode,
                              std::vector<std::string> words) {
  words.insert(words.end(), mode.begin(), mode.end());
  return words;
}

TEST_F(SynthTest, TheSameSeedGivesTheSameBytesAndAnotherOneOthers) {
  std::set<std::string> kinds;
  for (const std::vector<std::string>& mode : modes) {
    for (const std::string seed : {"0", "1", "2", "18446744073709551615"}) {
      const std::vector<std::string> flags = With(mode, {"--records", "20000", "--seed", seed});
      const std::string bytes = Made(flags);
      EXPECT_TRUE(bytes == Made(flags));
      kinds.insert(bytes);
    }
  }
  EXPECT_EQ(8U, kinds.size());
}

TEST_F(SynthTest, FlagsThatAreLeftOutHaveTheDefaultsThatTheHelpNames) {
  EXPECT_TRUE(Made({}) == Made({"--records", "1000000", "--threads", "4", "--seed", "1", "-c", "4",
                                "-d", "2", "-p", "4"}));
  const std::string help = Run({"synth", "--help"}).out;
  for (const char* line :
       {"--records UINT=1000000 ", "--threads UINT:UINT in [1 - 4096]=4\n", "--seed UINT=1 "}) {
    EXPECT_THAT(help, HasSubstr(line));
  }
}

TEST_F(SynthTest, TheTraceHasExactlySoManyRecords) {
  for (const std::vector<std::string>& mode : modes) {
    for (const size_t records : {0U, 1U, 2U, 3U, 1000U}) {
      const std::string bytes = Made(With(mode, {"--records", std::to_string(records)}));
      EXPECT_EQ(records, RecordsIn(bytes).size());
    }
    for (const size_t records : {65535U, 65536U, 65537U, 200001U}) {
      Made(With(mode, {"--records", std::to_string(records)}));
      EXPECT_EQ(records, RunForJson({"check", "made"})["records"]);
    }
  }
}

TEST_F(SynthTest, TheTraceIsValidOnItsArray) {
  const std::vector<std::vector<std::string>> arrays = {
      {"-c", "4", "-d", "2", "-p", "4"},  {"-c", "1", "-d", "1", "-p", "1"},
      {"-c", "1", "-d", "1", "-p", "5"},  {"-c", "3", "-d", "3", "-p", "3"},
      {"-c", "2", "-d", "1", "-p", "16"}, {"-c", "16", "-d", "4", "-p", "8"}};
  for (const std::vector<std::string>& mode : modes) {
    for (const std::vector<std::string>& array : arrays) {
      SCOPED_TRACE(::testing::PrintToString(array));
      Made(With(mode, With(array, {"--records", "30000"})));
      ExpectOutput("made: 30000 records, nothing wrong\n", Run(With(array, {"check", "made"})));
    }
  }
}

TEST_F(SynthTest, LocationsReachAllOverTheArray) {
  for (const std::vector<std::string>& mode : modes) {
    Made(With(mode, {"--records", "200000", "-c", "3", "-d", "2", "-p", "4"}));
    const nlohmann::json told = RunForJson({"info", "made"});
    EXPECT_EQ(24, told["extent"]["columns"]);
    EXPECT_EQ(24, told["extent"]["rows"]);
    EXPECT_EQ(9, told["switches"]);
    EXPECT_EQ(nlohmann::json({{"clusters", 3}, {"domains", 2}, {"pes", 4}}), told["view"]);
    for (const char* type : {"fires", "sends", "transmissions"}) {
      EXPECT_LT(10000, told[type]) << type;
    }
  }
}

TEST_F(SynthTest, EveryThreadHasRecords) {
  for (const std::vector<std::string>& mode : modes) {
    for (const size_t threads : {1U, 7U}) {
      Made(With(mode, {"--records", "100000", "--threads", std::to_string(threads)}));
      const nlohmann::json told = RunForJson({"info", "made"})["threads"];
      ASSERT_EQ(threads, told.size());
      EXPECT_EQ(threads - 1, told.back()["thread"]);
    }
  }
}

TEST_F(SynthTest, TheAccountNamesTheCommandThatShowsTheTrace) {
  ExpectOutput("made: 7 records, view it with marrowfin -c 2 -d 3 -p 5 -f made\n",
               Run({"synth", "-o", "made", "--records", "7", "-c", "2", "-d", "3", "-p", "5"}));
  EXPECT_THAT(Run({"synth", "--output", "a b", "--records", "7", "--clusters", "2", "--domains",
                   "3", "--pes", "5"})
                  .out,
              EndsWith(" -c 2 -d 3 -p 5 -f 'a b'\n"));
}

TEST_F(SynthTest, TheAccountAsJsonTellsWhatWasMade) {
  const auto told = [&](const char* name) {
    const CommandResult result =
        Run({"synth", "-o", name, "--records", "7", "-c", "2", "-d", "3", "-p", "5", "--json"});
    EXPECT_EQ(0, result.exitStatus) << result.err;
    return nlohmann::json::parse(result.out);
  };
  const nlohmann::json made = told("made");
  EXPECT_EQ((nlohmann::json{{"output", "made"},
                            {"inputs", nlohmann::json::array()},
                            {"records", 7},
                            {"bytes", std::filesystem::file_size(folder.File("made"))},
                            {"companion", false},
                            {"packed", false},
                            {"shape", "-c 2 -d 3 -p 5"},
                            {"view", "marrowfin -c 2 -d 3 -p 5 -f made"}}),
            made);
  const nlohmann::json packed = told("made.mfz");
  EXPECT_EQ(true, packed["packed"]);
  EXPECT_FALSE(packed.contains("view"));
  EXPECT_EQ("-c 2 -d 3 -p 5", packed["shape"]);
}

TEST_F(SynthTest, AnExistingOutputIsReplacedByForceAlone) {
  testing::WriteFile(folder.File("made"), "precious and long");
  const CommandResult refused = Run({"synth", "-o", "made", "--records", "0"});
  EXPECT_EQ(2, refused.exitStatus);
  EXPECT_THAT(refused.err, HasSubstr("--force"));
  EXPECT_EQ("precious and long", testing::ReadFile(folder.File("made")));
  EXPECT_EQ("", Made({"--records", "0"}));
  EXPECT_THAT(FolderContents(), ElementsAre("made"));
}

TEST_F(SynthTest, APipeIsWrittenDirectly) {
  const std::string bytes = Made({"--records", "50000"});
  ASSERT_EQ(0, mkfifo(folder.File("pipe").c_str(), 0600));
  const CommandResult result =
      Shell("cat pipe > copy & \"$0\" synth -o pipe --records 50000; wait");
  EXPECT_EQ(0, result.exitStatus) << result.err;
  EXPECT_TRUE(bytes == testing::ReadFile(folder.File("copy")));
  EXPECT_TRUE(fs::is_fifo(folder.File("pipe")));
}

TEST_F(SynthTest, AnOutputThatCannotBeMadeIsReported) {
  const char remedy[] = "  Choose another place, or make this one writable.\n";
  ExpectFailure(3, std::string("none/made: cannot create: No such file or directory\n") + remedy,
                Run({"synth", "-o", "none/made", "--records", "5"}));
  ExpectFailure(3, std::string(".: cannot write: Is a directory\n") + remedy,
                Run({"synth", "-o", ".", "--records", "5"}));
}

TEST_F(SynthTest, AFullDiskIsAnErrorAndNothingHalfWrittenStays) {
  fs::create_directory(folder.File("disk"));
  testing::ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(testing::MountSmallDisk(folder.File("disk"), 1 << 20));
    testing::WriteFile(folder.File("disk/old"), "old");
    for (const std::string name : {"disk/new", "disk/old"}) {
      const CommandResult result = Run({"synth", "-o", name, "--force", "--records", "200000"});
      EXPECT_EQ(3, result.exitStatus);
      EXPECT_EQ("", result.out);
      EXPECT_THAT(result.err, MatchesRegex("marrowfin-trace: " + name +
                                           ": cannot write: No space left on device\n"
                                           "  Make room there, or choose another place.\n"));
      EXPECT_THAT(ContentsOf(folder.File("disk")), ElementsAre("old"));
    }
    EXPECT_EQ("old", testing::ReadFile(folder.File("disk/old")));
  });
}

TEST_F(SynthTest, ALimitOnTheSizeOfFilesIsAnErrorLikeAFullDisk) {
  const CommandResult result = Shell("ulimit -f 100; exec \"$0\" synth -o made --records 100000");
  EXPECT_EQ(3, result.exitStatus);
  EXPECT_THAT(result.err, HasSubstr("made: cannot write: File too large"));
  EXPECT_THAT(FolderContents(), IsEmpty());
}

TEST_F(SynthTest, ASignalInTheMiddleLeavesNothingAndAnExistingOutputAsItWas) {
  testing::WriteFile(folder.File("made"), "precious");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    RunningProgram program(
        Words({"synth", "-o", folder.File("made"), "--force", "--records", "100000"}),
        RunningProgram::TO_FILE, RunningProgram::FOR_HOLDING);
    ASSERT_TRUE(HoldWriting(program));
    program.Signal(signal);
    program.Release();
    const int status = program.Wait();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    EXPECT_EQ("", program.Err());
    EXPECT_THAT(FolderContents(), ElementsAre("made"));
  }
  EXPECT_EQ("precious", testing::ReadFile(folder.File("made")));
}

// Reads a pipe to its end, but nothing for a while at first: its writer has to wait.
void DrainLate(const std::string& pipe) {
  const int fd = open(pipe.c_str(), O_RDONLY | O_CLOEXEC);
  struct pollfd ready = {fd, POLLIN, 0};
  EXPECT_EQ(1, poll(&ready, 1, -1));
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  std::vector<char> bytes(1 << 16);
  while (read(fd, bytes.data(), bytes.size()) > 0) {
  }
  close(fd);
}

TEST_F(SynthTest, ALongRunShowsShareRateAndTimeLeftOnATerminalOnly) {
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const std::vector<std::string> words = Words({"synth", "-o", pipe, "--records", "200000"});
  {
    RunningProgram program(words, RunningProgram::TO_TERMINAL);
    DrainLate(pipe);
    EXPECT_EQ(0, program.Wait());
    EXPECT_THAT(program.Err(),
                MatchesRegex("(\r.\\[Kwriting " + pipe +
                             " +[0-9]+ %, [0-9]+\\.[0-9] M records/s, [0-9]+ s left)+\r.\\[K"));
  }
  RunningProgram program(words, RunningProgram::TO_FILE);
  DrainLate(pipe);
  EXPECT_EQ(0, program.Wait());
  EXPECT_EQ("", program.Err());
}

}  // namespace
}  // namespace marrowfin
