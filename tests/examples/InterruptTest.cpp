// A run that is interrupted.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "tests/examples/Example.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

off_t SizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_size : 0;
}

class InterruptTest : public ::testing::Test {
 protected:
  // Starts a run that nobody could wait for.
  void Start(const std::string& reportName = "") {
    process = fork();
    ASSERT_NE(-1, process);
    if (process == 0) {
      const int out = open(directory.File("out").c_str(), O_WRONLY | O_CREAT, 0666);
      dup2(out, STDOUT_FILENO);
      dup2(open(directory.File("err").c_str(), O_WRONLY | O_CREAT, 0666), STDERR_FILENO);
      const std::string trace = directory.File("trace");
      execl(SYSTOLIC_MATMUL, SYSTOLIC_MATMUL, "-.*/products", "1000000", "-.*outFilename",
            trace.c_str(), "-.*outputFileName", reportName.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
  }

  void WaitForTrace(off_t size) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (SizeOf(directory.File("trace")) < size) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the trace does not grow";
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  // Interrupts the run; the result is its status as of waitpid.
  int Interrupt() {
    kill(process, SIGINT);
    int status = -1;
    EXPECT_EQ(process, waitpid(process, &status, 0));
    process = -1;
    return status;
  }

  ~InterruptTest() override {
    if (process > 0) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
  }

  const TempDir directory;
  pid_t process = -1;
};

TEST_F(InterruptTest, EndsTheRunWithItsReportAndTheVerdict) {
  Start();
  WaitForTrace(100000);
  const int status = Interrupt();
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(1, WEXITSTATUS(status));
  const std::string out = ReadFile(directory.File("out"));
  EXPECT_THAT(out, StartsWith("Opened tracefile"));
  const size_t report = out.find("STATISTICS:\n");
  ASSERT_NE(std::string::npos, report);
  EXPECT_EQ(std::string::npos, out.find("STATISTICS:\n", report + 1));
  EXPECT_THAT(out, EndsWith("\nSTATISTICS DONE\nRegression FAILED: SIGINT\n\n"));
}

TEST_F(InterruptTest, EndsWithTheVerdictAlsoWhereTheReportCannotBeWritten) {
  const std::string report = directory.File("missing/report");
  Start(report);
  WaitForTrace(100000);
  const int status = Interrupt();
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
  EXPECT_EQ(1, WEXITSTATUS(status));
  EXPECT_THAT(ReadFile(directory.File("out")), EndsWith("\nRegression FAILED: SIGINT\n\n"));
  EXPECT_EQ("systolic_matmul: can't write the report to " + report + "\n",
            ReadFile(directory.File("err")));
}

TEST_F(InterruptTest, LeavesTheReportInItsFile) {
  const std::string report = directory.File("report");
  Start(report);
  WaitForTrace(100000);
  Interrupt();
  EXPECT_THAT(ReadFile(report), StartsWith("STATISTICS:\n"));
  EXPECT_THAT(ReadFile(report), EndsWith("STATISTICS DONE\n"));
}

// The moments differ, so that interrupts fall on different places of the run.
class InterruptAtSize : public InterruptTest, public ::testing::WithParamInterface<off_t> {};

INSTANTIATE_TEST_SUITE_P(Sizes, InterruptAtSize,
                         ::testing::Values(1, 50000, 333333, 1000000, 2500000, 5000000));

TEST_P(InterruptAtSize, LeavesATraceOfWholeRecordsThatTheReportCounts) {
  Start();
  WaitForTrace(GetParam());
  Interrupt();
  const std::vector<Event> events = EventsIn(ReadFile(directory.File("trace")));
  const auto statistics = StatisticsIn(ReadFile(directory.File("out")));
  EXPECT_EQ(events.size(), SumOf(statistics, "/multiplications") + SumOf(statistics, "/moves") +
                               SumOf(statistics, "/transmissions"));
  EXPECT_EQ(std::stoull(statistics.at("array/cycles")), events.back().cycle + 1);
}

}  // namespace marrowfin::testing
