// Programs that make traces of traces, killed at any moment; and how much memory they take.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <random>

#include "tests/tools/CommandFixture.h"

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

TEST_F(EditKilledTest, OfAProgramThatIsKilledTheOutputIsTheOldOneOrTheWholeNewOne) {
  LongTrace(60000, "t.trace");
  LongTrace(50000, "u.trace");
  ASSERT_EQ(0, Run({"index", "t.trace"}).exitStatus);
  std::mt19937 random(1);
  for (const Line& line : std::vector<Line>{{"cut", "t.trace", "--not", "--threads", "1"},
                                            {"sort", "t.trace"},
                                            {"merge", "t.trace", "u.trace"},
                                            {"shift", "t.trace", "--later", "7"},
                                            {"head", "t.trace", "-n", "40000"}}) {
    Line words = line;
    words.insert(words.end(), {"-o", "made.trace", "--force"});
    ASSERT_EQ(0, Run(words).exitStatus);
    const std::string whole = Bytes("made.trace");
    int old = 0;
    for (int round = 0; round < 40; ++round) {
      testing::WriteFile(folder.File("made.trace"), "of old");
      const pid_t child = Start(words);
      usleep(static_cast<useconds_t>(random() % 30000));
      kill(child, SIGKILL);
      int status = 0;
      waitpid(child, &status, 0);
      const std::string there = Bytes("made.trace");
      ASSERT_TRUE(there == "of old" || there == whole) << line[0] << " in round " << round;
      old += there == "of old" ? 1 : 0;
    }
    EXPECT_LT(0, old) << line[0] << " was killed too late";
    // What is left over goes with the next run.
    ASSERT_EQ(0, Run(words).exitStatus);
    EXPECT_TRUE(whole == Bytes("made.trace"));
    EXPECT_FALSE(HasFileLike(".mfpart-")) << line[0];
  }
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

}  // namespace
}  // namespace marrowfin
