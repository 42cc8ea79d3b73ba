#include "tools/program/ProgressLine.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>

namespace marrowfin {
namespace {

class ProgressLineTest : public ::testing::Test {
 protected:
  ProgressLineTest() {
    progress.emplace(&terminal, "reading", "MB", 1e6, [this] { return now; });
  }

  // What an update `milliseconds` after the start writes.
  std::string Update(int milliseconds, uint64_t done, uint64_t total) {
    terminal.str("");
    now = ProgressLine::Time() + std::chrono::milliseconds(milliseconds);
    progress->Update(done, total);
    return terminal.str();
  }

  ProgressLine::Time now;
  std::ostringstream terminal;
  std::optional<ProgressLine> progress;
};

TEST_F(ProgressLineTest, AShortTaskShowsNothing) {
  EXPECT_EQ("", Update(0, 0, 100));
  EXPECT_EQ("", Update(499, 90, 100));
  progress.reset();
  EXPECT_EQ("", terminal.str());
}

TEST_F(ProgressLineTest, ALongTaskShowsShareRateAndTimeLeft) {
  EXPECT_EQ("\r\033[Kreading  20 %, 20.0 MB/s, 4 s left", Update(1000, 20'000'000, 100'000'000));
}

TEST_F(ProgressLineTest, ATaskOfUnknownLengthShowsWhatIsDone) {
  EXPECT_EQ("\r\033[Kreading 5.0 MB, 2.5 MB/s", Update(2000, 5'000'000, 0));
}

TEST_F(ProgressLineTest, ATaskThatHasDoneNothingYetShowsNoTimeLeft) {
  EXPECT_EQ("\r\033[Kreading 0.0 MB, 0.0 MB/s", Update(2000, 0, 100));
}

TEST_F(ProgressLineTest, TheLineChangesAtMostTenTimesASecond) {
  EXPECT_NE("", Update(500, 1, 10));
  EXPECT_EQ("", Update(599, 2, 10));
  EXPECT_NE("", Update(600, 3, 10));
}

TEST_F(ProgressLineTest, TheLineGoesWhenTheTaskEnds) {
  EXPECT_NE("", Update(500, 1, 10));
  terminal.str("");
  progress.reset();
  EXPECT_EQ("\r\033[K", terminal.str());
}

TEST_F(ProgressLineTest, TheLineGoesForResultsAndComesBackWithTheNextUpdate) {
  progress->Hide();
  EXPECT_EQ("", terminal.str());
  EXPECT_NE("", Update(500, 1, 10));
  terminal.str("");
  progress->Hide();
  progress->Hide();
  EXPECT_EQ("\r\033[K", terminal.str());
  EXPECT_NE("", Update(600, 3, 10));
}

TEST(ProgressLineWithoutTerminalTest, NothingIsWrittenAnywhere) {
  ProgressLine::Time now;
  ProgressLine progress(nullptr, "reading", "MB", 1e6, [&now] { return now; });
  now += std::chrono::hours(1);
  progress.Update(1, 10);
}

}  // namespace
}  // namespace marrowfin
