// Runs that are interrupted, disks that are full, and runs that are long.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "sim/Random.h"
#include "tests/sim/Laws.h"
#include "tests/sim/Rig.h"
#include "tests/support/Command.h"
#include "tests/support/Files.h"

namespace marrowfin::sim::testing {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr int FAILED = 1;

const Shape DEFAULT_SHAPE = {4, 2, 4};

// A run of the simulator in the background, with its output in files.
class Background {
 public:
  // `ignored` is a signal that is ignored when the run starts, as by nohup; 0 for none.
  Background(const TempDir& directory, std::vector<std::string> words, int ignored = 0)
      : directory(directory) {
    words.insert(words.begin(), MARROWFIN_SIM);
    std::vector<char*> arguments;
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    child = fork();
    if (child == 0) {
      marrowfin::testing::TakeSignalsAgain();
      if (ignored != 0) {
        signal(ignored, SIG_IGN);
      }
      dup2(open(directory.File("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
      dup2(open(directory.File("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
      execv(arguments[0], arguments.data());
      _exit(127);
    }
  }

  // Whether a file has grown to `size` bytes, before the run ended and within a minute.
  bool WaitForSize(const std::string& file, off_t size) const {
    for (int patience = 0; patience < 60000; ++patience) {
      struct stat info = {};
      if (stat(file.c_str(), &info) == 0 && info.st_size >= size) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }

  // Whether it has a handler of its own for a signal, within a minute.
  bool WaitForHandler(int number) const {
    for (int patience = 0; patience < 60000; ++patience) {
      const std::string status = ReadFile("/proc/" + std::to_string(child) + "/status");
      const size_t caught = status.find("SigCgt:");
      if (caught != std::string::npos &&
          (std::stoull(status.substr(caught + 7), nullptr, 16) >> (number - 1) & 1) != 0) {
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
  }

  void Interrupt(int number = SIGINT) const { kill(child, number); }

  // Whether it still runs.
  bool IsRunning() const {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == 0;
  }

  // Waits for the end; what the run needed is in `usage` then.
  int ExitStatus() {
    int status;
    wait4(child, &status, 0, &usage);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string Out() const { return ReadFile(directory.File("out")); }
  std::string Err() const { return ReadFile(directory.File("err")); }
  long PeakKilobytes() const { return usage.ru_maxrss; }

 private:
  const TempDir& directory;
  pid_t child;
  struct rusage usage = {};
};

class InterruptTest : public ::testing::Test {
 protected:
  TempDir directory;
};

TEST_F(InterruptTest, AtAnyMomentLeavesWholeRecordsStatisticsAndAVerdict) {
  Random random(4711);
  const std::string trace = directory.File("trace");
  for (int run = 0; run < 20; ++run) {
    Background simulator(directory, {"-rounds", "1000000", "-outFilename", trace});
    ASSERT_TRUE(simulator.WaitForSize(trace, 1));
    std::this_thread::sleep_for(std::chrono::microseconds(random.Below(60000)));
    simulator.Interrupt();
    ASSERT_EQ(FAILED, simulator.ExitStatus());
    EXPECT_THAT(simulator.Out(), HasSubstr("\nSTATISTICS:\narray/cycles = "));
    EXPECT_THAT(simulator.Out(), EndsWith("STATISTICS DONE\nRegression FAILED: SIGINT\n\n"));
    EXPECT_EQ("", simulator.Err());
    const std::string bytes = ReadFile(trace);
    EXPECT_THAT(BrokenTraceLaws(bytes, DEFAULT_SHAPE), IsEmpty());
    EXPECT_EQ(std::to_string(RecordCounts(bytes)[3]), StatisticIn(simulator.Out(), "array/fires"));
    unlink(trace.c_str());
  }
}

struct Signal {
  int number;
  const char* name;
};

class SignalTest : public InterruptTest, public ::testing::WithParamInterface<Signal> {};

INSTANTIATE_TEST_SUITE_P(Every, SignalTest,
                         ::testing::Values(Signal{SIGTERM, "SIGTERM"}, Signal{SIGHUP, "SIGHUP"},
                                           Signal{SIGQUIT, "SIGQUIT"}, Signal{SIGXCPU, "SIGXCPU"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(SignalTest, EndsTheRunLikeAnInterrupt) {
  Random random(static_cast<unsigned long long>(GetParam().number));
  const std::string trace = directory.File("trace");
  for (int run = 0; run < 6; ++run) {
    Background simulator(directory, {"-rounds", "1000000", "-outFilename", trace});
    ASSERT_TRUE(simulator.WaitForSize(trace, 1));
    std::this_thread::sleep_for(std::chrono::microseconds(random.Below(60000)));
    simulator.Interrupt(GetParam().number);
    ASSERT_EQ(FAILED, simulator.ExitStatus());
    EXPECT_THAT(
        simulator.Out(),
        EndsWith("STATISTICS DONE\nRegression FAILED: " + std::string(GetParam().name) + "\n\n"));
    const std::string bytes = ReadFile(trace);
    EXPECT_THAT(BrokenTraceLaws(bytes, DEFAULT_SHAPE), IsEmpty());
    EXPECT_EQ(std::to_string(RecordCounts(bytes)[3]), StatisticIn(simulator.Out(), "array/fires"));
    unlink(trace.c_str());
  }
}

TEST_F(InterruptTest, ALimitOnTheProcessorTimeEndsARunLikeAnInterrupt) {
  const std::string trace = directory.File("trace");
  const CommandResult result = RunCommand(
      {"bash", "-c",
       "ulimit -S -t 1; " + std::string(MARROWFIN_SIM) + " -rounds 1000000 -outFilename " + trace});
  EXPECT_EQ(FAILED, result.exitStatus);
  EXPECT_THAT(result.out, EndsWith("Regression FAILED: SIGXCPU\n\n"));
  EXPECT_THAT(BrokenTraceLaws(ReadFile(trace), DEFAULT_SHAPE), IsEmpty());
}

// The system cuts a write to a file where it likes when the program is killed in the middle of it.
TEST_F(InterruptTest, AKillLeavesWholeRecordsButForTheLastWrite) {
  Random random(815);
  const std::string trace = directory.File("trace");
  for (int run = 0; run < 8; ++run) {
    Background simulator(directory, {"-rounds", "1000000", "-outFilename", trace});
    ASSERT_TRUE(simulator.WaitForSize(trace, 1));
    std::this_thread::sleep_for(std::chrono::microseconds(random.Below(60000)));
    simulator.Interrupt(SIGKILL);
    ASSERT_EQ(-1, simulator.ExitStatus());
    EXPECT_THAT(BrokenTraceLaws(ReadFile(trace), DEFAULT_SHAPE),
                AnyOf(IsEmpty(), ElementsAre("a record is cut")));
    unlink(trace.c_str());
  }
}

// Writes to a pipe are whole or not at all, since none is longer than the system promises that for.
TEST_F(InterruptTest, AKillLeavesWholeRecordsInAPipe) {
  const std::string pipe = directory.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  for (int run = 0; run < 8; ++run) {
    Background simulator(directory, {"-rounds", "1000000", "-outFilename", pipe});
    const int reader = open(pipe.c_str(), O_RDONLY);
    ASSERT_NE(-1, reader);
    std::string bytes;
    char buffer[10007];
    for (ssize_t got; (got = read(reader, buffer, sizeof(buffer))) > 0;) {
      bytes.append(buffer, static_cast<size_t>(got));
      if (bytes.size() > 1000000U + 5000U * static_cast<unsigned>(run)) {
        simulator.Interrupt(SIGKILL);
      }
    }
    close(reader);
    ASSERT_EQ(-1, simulator.ExitStatus());
    EXPECT_THAT(BrokenTraceLaws(bytes, DEFAULT_SHAPE), IsEmpty());
  }
}

TEST_F(InterruptTest, AHangUpThatIsIgnoredStaysIgnored) {
  const std::string trace = directory.File("trace");
  Background simulator(directory, {"-rounds", "1000000", "-outFilename", trace}, SIGHUP);
  ASSERT_TRUE(simulator.WaitForSize(trace, 1));
  simulator.Interrupt(SIGHUP);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_TRUE(simulator.IsRunning());
  simulator.Interrupt(SIGTERM);
  EXPECT_EQ(FAILED, simulator.ExitStatus());
  EXPECT_THAT(simulator.Out(), EndsWith("Regression FAILED: SIGTERM\n\n"));
}

TEST_F(InterruptTest, AnInterruptIsTakenAlsoWhereAShellHasItIgnored) {
  const std::string trace = directory.File("trace");
  for (const int number : {SIGINT, SIGQUIT}) {
    Background simulator(directory, {"-rounds", "1000000", "-outFilename", trace}, number);
    ASSERT_TRUE(simulator.WaitForSize(trace, 1));
    simulator.Interrupt(number);
    // One that is ignored would let it run for hours.
    for (int patience = 0; simulator.IsRunning() && patience < 60000; ++patience) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_FALSE(simulator.IsRunning());
    simulator.Interrupt(SIGKILL);
    EXPECT_EQ(FAILED, simulator.ExitStatus());
    unlink(trace.c_str());
  }
}

TEST_F(InterruptTest, AStatisticsFileThatIsGoneByThenCostsNeitherVerdictNorStatus) {
  const std::string trace = directory.File("trace");
  mkdir(directory.File("folder").c_str(), 0700);
  Background simulator(directory, {"-rounds", "1000000", "-outFilename", trace,
                                   "-statistics/outputFileName", directory.File("folder/report")});
  ASSERT_TRUE(simulator.WaitForSize(trace, 1));
  ASSERT_EQ(0, rmdir(directory.File("folder").c_str()));
  simulator.Interrupt();
  EXPECT_EQ(FAILED, simulator.ExitStatus());
  EXPECT_THAT(simulator.Out(),
              EndsWith("Regression FAILED: SIGINT\n" + directory.File("folder/report") +
                       ": the report could not be written\n\n"));
}

// A run whose trace nobody reads on: the pipe is full, and it waits.
class StoppedReaderTest : public InterruptTest {
 protected:
  void SetUp() override {
    const std::string pipe = directory.File("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    simulator.emplace(directory,
                      std::vector<std::string>{"-rounds", "1000000", "-outFilename", pipe});
    reader = open(pipe.c_str(), O_RDONLY);
    ASSERT_NE(-1, reader);
    // Nothing more happens once the pipe is full.
    int before = -1;
    for (int waiting = 0; waiting != before || waiting == 0;) {
      before = waiting;
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      ASSERT_EQ(0, ioctl(reader, FIONREAD, &waiting));
    }
  }
  void TearDown() override { close(reader); }

  std::optional<Background> simulator;
  int reader = -1;
};

TEST_F(StoppedReaderTest, HoldsARunUpForTwoSignalsAtMost) {
  while (simulator->IsRunning()) {
    simulator->Interrupt(SIGTERM);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  EXPECT_EQ(FAILED, simulator->ExitStatus());
  EXPECT_THAT(simulator->Out(), HasSubstr("\nRegression FAILED: SIGTERM\n"));
}

TEST_F(StoppedReaderTest, IsWaitedForBehindTheFirstSignalAndGetsTheWholeTrace) {
  simulator->Interrupt(SIGTERM);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_TRUE(simulator->IsRunning());
  std::string trace;
  char buffer[65536];
  for (ssize_t got; (got = read(reader, buffer, sizeof(buffer))) > 0;) {
    trace.append(buffer, static_cast<size_t>(got));
  }
  EXPECT_EQ(FAILED, simulator->ExitStatus());
  EXPECT_THAT(simulator->Out(), EndsWith("STATISTICS DONE\nRegression FAILED: SIGTERM\n\n"));
  EXPECT_EQ("", simulator->Err());
  EXPECT_EQ(std::to_string(RecordCounts(trace)[3]), StatisticIn(simulator->Out(), "array/fires"));
}

TEST_F(InterruptTest, EndsARunThatWritesNoTrace) {
  const std::string out = directory.File("out");
  Background simulator(directory, {"-rounds", "1000000"});
  ASSERT_TRUE(simulator.WaitForSize(out, 1));
  simulator.Interrupt();
  EXPECT_EQ(FAILED, simulator.ExitStatus());
  EXPECT_THAT(simulator.Out(), EndsWith("STATISTICS DONE\nRegression FAILED: SIGINT\n\n"));
}

TEST_F(InterruptTest, GivesUpWaitingForTheReaderOfAPipe) {
  const std::string pipe = directory.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const std::string log = directory.File("log");
  Background simulator(directory, {"-outFilename", pipe, "-logFilename", log});
  // It is opened just before the trace.
  ASSERT_TRUE(simulator.WaitForSize(log, 0));
  simulator.Interrupt();
  EXPECT_EQ(FAILED, simulator.ExitStatus());
  EXPECT_EQ("Regression FAILED: SIGINT\n\n", simulator.Out());
}

TEST_F(InterruptTest, EndsAtOnceAndTouchesNothingWhileTheRunIsPrepared) {
  const std::string trace = directory.File("trace");
  Background simulator(directory, {"-program", "matmul", "-size", "256", "-array/operandBuffer",
                                   "5000", "-outFilename", trace});
  ASSERT_TRUE(simulator.WaitForHandler(SIGTERM));
  // Somewhere while operations are placed, which takes seconds.
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  simulator.Interrupt(SIGTERM);
  EXPECT_EQ(FAILED, simulator.ExitStatus());
  EXPECT_EQ("Regression FAILED: SIGTERM\n\n", simulator.Out());
  EXPECT_NE(0, access(trace.c_str(), F_OK));
}

class DiskTest : public ::testing::Test {
 protected:
  // Runs behind some other command of the shell. What is printed goes through a pipe, which no
  // limit on files concerns.
  CommandResult RunInShell(const std::string& before, const std::string& trace) const {
    return RunCommand({"bash", "-c",
                       "(" + before + " " + MARROWFIN_SIM + " -size 6 -outFilename " + trace +
                           ") | cat; exit ${PIPESTATUS[0]}"});
  }

  // The number in "holds N whole records".
  static size_t RecordsIn(const std::string& text) {
    const size_t found = text.find("holds ");
    return found == std::string::npos ? 0 : std::stoul(text.substr(found + 6));
  }

  TempDir directory;
};

TEST_F(DiskTest, ADeviceThatIsFullFromTheStartHoldsNoRecords) {
  const CommandResult result = RunInShell("", "/dev/full");
  EXPECT_EQ(FAILED, result.exitStatus);
  const std::string fault =
      "/dev/full: cannot write: No space left on device; it holds 0 whole records\n";
  EXPECT_EQ("marrowfin-sim: " + fault, result.err);
  EXPECT_THAT(result.out, HasSubstr("STATISTICS DONE\nRegression FAILED: " + fault));
}

TEST_F(DiskTest, AFileThatReachesItsLimitHoldsTheWholeRecordsThatTheErrorSays) {
  const std::string trace = directory.File("trace");
  // A kilobyte is no multiple of a record's size, so a record is cut and taken back.
  for (int kilobytes = 1; kilobytes <= 7; ++kilobytes) {
    const CommandResult result = RunInShell("ulimit -f " + std::to_string(kilobytes) + ";", trace);
    EXPECT_EQ(FAILED, result.exitStatus);
    EXPECT_THAT(result.err, HasSubstr("File too large; it holds "));
    const std::string bytes = ReadFile(trace);
    EXPECT_GT(bytes.size() + 36, 1024U * static_cast<unsigned>(kilobytes));
    EXPECT_THAT(BrokenTraceLaws(bytes, DEFAULT_SHAPE), IsEmpty());
    const std::vector<size_t> counts = RecordCounts(bytes);
    EXPECT_EQ(counts[2] + counts[3] + counts[4], RecordsIn(result.err));
  }
}

TEST_F(DiskTest, AFullDiskEndsTheRunAndKeepsTheWholeRecords) {
  const std::string disk = directory.File("disk");
  const std::string copy = directory.File("copy");
  const std::string script = "mkdir " + disk + " && mount -t tmpfs -o size=64k none " + disk +
                             " && " + MARROWFIN_SIM + " -size 6 -companion false -outFilename " +
                             disk +
                             "/trace; status=$?; "
                             "cp " +
                             disk + "/trace " + copy + "; umount " + disk + "; exit $status";
  const CommandResult result =
      RunCommand({"unshare", "--user", "--map-root-user", "--mount", "bash", "-c", script});
  EXPECT_EQ(FAILED, result.exitStatus) << result.err;
  EXPECT_THAT(result.err, HasSubstr("No space left on device; it holds "));
  const std::string bytes = ReadFile(copy);
  EXPECT_GT(bytes.size() + 36, 65536U);
  EXPECT_THAT(BrokenTraceLaws(bytes, DEFAULT_SHAPE), IsEmpty());
  const std::vector<size_t> counts = RecordCounts(bytes);
  EXPECT_EQ(counts[2] + counts[3] + counts[4], RecordsIn(result.err));
}

TEST_F(DiskTest, AFullDiskEndsARunOfManyRoundsWithItsReportAndTheVerdict) {
  const CommandResult result =
      RunSimulator({"-size", "6", "-rounds", "1000000", "-outFilename", "/dev/full"});
  EXPECT_EQ(FAILED, result.exitStatus);
  EXPECT_THAT(result.err, AllOf(HasSubstr("No space left on device"), Not(HasSubstr("assertion"))));
  EXPECT_THAT(result.out, HasSubstr("STATISTICS DONE\nRegression FAILED: /dev/full: cannot write"));
}

TEST_F(DiskTest, ALogOnAFullDiskEndsTheRunAsSoonAsItIsNoticed) {
  const CommandResult result =
      RunSimulator({"-size", "6", "-rounds", "1000000", "-logFilename", "/dev/full"});
  EXPECT_EQ(FAILED, result.exitStatus);
  EXPECT_EQ("marrowfin-sim: /dev/full: No space left on device\n", result.err);
  EXPECT_THAT(result.out, HasSubstr("STATISTICS DONE\nRegression FAILED: /dev/full: No space"));
}

TEST_F(DiskTest, ALogThatCannotBeWrittenFailsTheRun) {
  const CommandResult result =
      RunSimulator({"-program", "reduce", "-size", "4", "-logFilename", "/dev/full"});
  EXPECT_EQ(FAILED, result.exitStatus);
  EXPECT_EQ("marrowfin-sim: /dev/full: No space left on device\n", result.err);
}

TEST_F(DiskTest, AReaderThatGoesAwayEndsTheRunWithAnError) {
  const CommandResult result =
      RunCommand({"bash", "-c",
                  std::string(MARROWFIN_SIM) + " -size 6 -outFilename >(head -c 5000 >/dev/null)"});
  EXPECT_EQ(FAILED, result.exitStatus);
  EXPECT_THAT(result.err, HasSubstr("Broken pipe; it holds "));
}

TEST_F(DiskTest, ATraceThroughAPipeIsTheSameAsInAFile) {
  const std::string pipe = directory.File("pipe");
  ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
  const CommandResult result =
      RunCommand({"bash", "-c",
                  "cat " + pipe + " >" + directory.File("copy") + " & " + MARROWFIN_SIM +
                      " -size 5 -outFilename " + pipe + " && wait && " + MARROWFIN_SIM +
                      " -size 5 -outFilename " + directory.File("trace")});
  ASSERT_EQ(0, result.exitStatus) << result.err;
  EXPECT_FALSE(ReadFile(directory.File("copy")).empty());
  EXPECT_TRUE(ReadFile(directory.File("copy")) == ReadFile(directory.File("trace")));
}

TEST(LengthTest, MemoryDoesNotGrowWithTheLengthOfTheRun) {
  // AddressSanitizer keeps what was freed for a while, which looks like growth.
  const char* sanitizer = getenv("ASAN_OPTIONS");
  setenv("ASAN_OPTIONS",
         (std::string(sanitizer == nullptr ? "" : sanitizer) +
          ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0")
             .c_str(),
         1);
  const TempDir directory;
  const auto run = [&](const char* sweeps) {
    Background simulator(directory, {"-size", "6", "-sweeps", sweeps, "-threads", "2"});
    EXPECT_EQ(0, simulator.ExitStatus());
    return std::make_pair(simulator.PeakKilobytes(),
                          StatisticIn(simulator.Out(), "messages/allocated"));
  };
  const auto [shortPeak, shortMessages] = run("20");
  const auto [longPeak, longMessages] = run("600");
  EXPECT_LE(longPeak, shortPeak + 1024);
  EXPECT_EQ(shortMessages, longMessages);
}

}  // namespace marrowfin::sim::testing
