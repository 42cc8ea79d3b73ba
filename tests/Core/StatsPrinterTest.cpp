#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "Core/StatsContainer.h"
#include "tests/Core/Capture.h"
#include "tests/support/Files.h"
#include "tests/support/PrivateMember.h"
#include "tests/support/Reports.h"

namespace {

using marrowfin::testing::CrashReport;
using marrowfin::testing::ReadFile;
using marrowfin::testing::TempDir;
using marrowfin::testing::WriteFile;
using ::testing::HasSubstr;
using ::testing::KilledBySignal;

class StatsPrinterTest : public ::testing::Test {
 protected:
  StatsPrinterTest() : printer(dir.File("report")) {}
  ~StatsPrinterTest() override { printer.outputFile.Close(); }

  // The report, without its frame.
  std::string Report() {
    printer.Output(&container);
    const std::string text = Written();
    const std::string start = "STATISTICS:\n";
    const std::string end = "STATISTICS DONE\n";
    EXPECT_EQ(0u, text.find(start));
    EXPECT_EQ(text.size() - end.size(), text.rfind(end));
    return text.substr(start.size(), text.size() - start.size() - end.size());
  }

  std::string Written() const { return ReadFile(dir.File("report")); }

  TempDir dir;
  StatsPrinter printer;
  StatsContainer container;
};

using StatsPrinterDeathTest = StatsPrinterTest;

}  // namespace

template struct marrowfin::testing::PrivateMember<&StatsPrinter::Output_help>;

namespace {

template <class Class>
concept WritesOneContainer = requires(Class c, StatsContainer* s) {
  c.Output_help(s);
};

TEST_F(StatsPrinterTest, TheWritingOfOneContainerIsNotPublic) {
  static_assert(!WritesOneContainer<StatsPrinter>);
}

// Lines.

TEST_F(StatsPrinterTest, AnEmptyContainerPrintsNothingBetweenTheFrameLines) {
  printer.Output(&container);
  EXPECT_EQ("STATISTICS:\nSTATISTICS DONE\n", Written());
}

TEST_F(StatsPrinterTest, AFloatHasTwoDecimalsAndAtLeastFiveCharacters) {
  float pi;
  float wide;
  float negative;
  float tiny;
  container.AddStat(&pi, "pi", "", 3.14159F);
  container.AddStat(&wide, "wide", "", 1234.5F);
  container.AddStat(&negative, "negative", "", -2.0F);
  container.AddStat(&tiny, "tiny", "", 0.001F);
  EXPECT_EQ("pi =  3.14\nwide = 1234.50\nnegative = -2.00\ntiny =  0.00\n", Report());
}

TEST_F(StatsPrinterTest, ACounterIsAnUnsignedNumberOfSixtyFourBits) {
  unsigned long long few;
  unsigned long long most;
  container.AddStat(&few, "few", "", 0);
  container.AddStat(&most, "most", "", std::numeric_limits<unsigned long long>::max());
  EXPECT_EQ("few = 0\nmost = 18446744073709551615\n", Report());
}

TEST_F(StatsPrinterTest, AHistogramShowsItsBucketsWithSharesAndRunningTotals) {
  Histogram latency;
  latency.Increment(2, 3);
  latency.Increment(3, 7);
  container.AddAliasStat(&latency, "latency");
  EXPECT_EQ(
      "latency =         2[        3 0.300         3 0.300]\t"
      "        3[        7 0.700        10 1.000]\t\n",
      Report());
}

TEST_F(StatsPrinterTest, EmptyBucketsBetweenActiveOnesAreShown) {
  Histogram histogram;
  histogram.Increment(1, 1);
  histogram.Increment(3, 3);
  container.AddAliasStat(&histogram, "h");
  EXPECT_EQ(
      "h =         1[        1 0.250         1 0.250]\t"
      "        2[        0 0.000         1 0.250]\t"
      "        3[        3 0.750         4 1.000]\t\n",
      Report());
}

TEST_F(StatsPrinterTest, AHistogramWhoseActiveBucketsBeginAtItsEndIsEmpty) {
  Histogram histogram;
  histogram.Increment(1, 1);
  histogram.smallestActiveBucket = 2;
  Histogram fresh;
  container.AddAliasStat(&histogram, "past");
  container.AddAliasStat(&fresh, "fresh");
  EXPECT_EQ("past = \nfresh = \n", Report());
}

TEST_F(StatsPrinterTest, WithoutItemsTheSharesAreWhatTheCLibraryMakesOfADivisionByZero) {
  Histogram histogram;
  histogram.data = {0, 5};
  histogram.smallestActiveBucket = 0;
  container.AddAliasStat(&histogram, "h");
  volatile double zero = 0;
  char expected[200];
  snprintf(expected, sizeof(expected),
           "h =         0[        0 %5.3f         0 %5.3f]\t"
           "        1[        5 %5.3f         5 %5.3f]\t\n",
           zero / zero, zero / zero, 5 / zero, 5 / zero);
  EXPECT_EQ(expected, Report());
}

TEST_F(StatsPrinterTest, ALongHistogramStandsOnOneLineWhole) {
  Histogram histogram;
  for (unsigned bucket = 0; bucket < 500; ++bucket) {
    histogram.Increment(bucket, 1);
  }
  container.AddAliasStat(&histogram, "h");
  const std::string report = Report();
  EXPECT_EQ(1, std::count(report.begin(), report.end(), '\n'));
  EXPECT_EQ(500, std::count(report.begin(), report.end(), '\t'));
  EXPECT_THAT(report, HasSubstr("      499[        1 0.002       500 1.000]\t\n"));
}

TEST_F(StatsPrinterTest, StatisticsAreWrittenInOrderUnderTheirFullNames) {
  unsigned long long cycles;
  float ipc;
  container.AddStat(&cycles, "cycles", "not shown", 1200);
  container.AddStat(&ipc, "ipc", "not shown", 1.25F);
  container.AddAliasStat(&cycles, "ticks");
  container.AddPrefix("top/cpu0/");
  EXPECT_EQ("top/cpu0/cycles = 1200\ntop/cpu0/ipc =  1.25\ntop/cpu0/ticks = 1200\n", Report());
}

TEST_F(StatsPrinterTest, APercentSignInANameIsNoDirective) {
  unsigned long long counter;
  container.AddStat(&counter, "100%s%n", "", 1);
  EXPECT_EQ("100%s%n = 1\n", Report());
}

TEST_F(StatsPrinterTest, TheValuesAreThoseOfTheMomentOfTheReport) {
  unsigned long long cycles;
  container.AddStat(&cycles, "cycles", "", 1);
  cycles = 2;
  EXPECT_EQ("cycles = 2\n", Report());
}

// Trees.

// A container that notes when it is computed, in a number shared by all, and shows that number.
struct ComputedContainer : StatsContainer {
  ComputedContainer(const char* name, unsigned long long* clock) : clock(clock) {
    AddStat(&computedAt, name, "", 0);
  }
  void Compute() override { computedAt = ++*clock; }
  unsigned long long* clock;
  unsigned long long computedAt;
};

TEST_F(StatsPrinterTest, ContainersAreComputedAndWrittenDepthFirstParentsBeforeChildren) {
  unsigned long long clock = 0;
  ComputedContainer root("root", &clock);
  ComputedContainer first("first", &clock);
  ComputedContainer below("below", &clock);
  ComputedContainer second("second", &clock);
  root.AddStatContainer(&first);
  root.AddStatContainer(&second);
  first.AddStatContainer(&below);
  printer.Output(&root);
  EXPECT_EQ("STATISTICS:\nroot = 1\nfirst = 2\nbelow = 3\nsecond = 4\nSTATISTICS DONE\n",
            Written());
  EXPECT_EQ(4u, clock);
}

// A child whose computation changes its parent's statistic comes too late for this report.
TEST_F(StatsPrinterTest, AContainerIsWrittenBeforeItsChildrenAreComputed) {
  unsigned long long clock;
  container.AddStat(&clock, "clock", "", 0);
  ComputedContainer child("child", &clock);
  container.AddStatContainer(&child);
  EXPECT_EQ("clock = 0\nchild = 1\n", Report());
}

// Destinations.

TEST_F(StatsPrinterTest, TheFileIsNotOpenBeforeTheFirstReport) {
  EXPECT_EQ(dir.File("report"), printer.outputFileName);
  EXPECT_FALSE(printer.outputFile.IsOpen());
  EXPECT_NE(0, access(dir.File("report").c_str(), F_OK));
}

TEST_F(StatsPrinterTest, TheFirstReportReplacesWhatTheFileHeldAndLaterOnesFollowIt) {
  WriteFile(dir.File("report"), "from an earlier run, and longer than the report will be\n");
  unsigned long long cycles;
  container.AddStat(&cycles, "cycles", "", 1);
  printer.Output(&container);
  EXPECT_EQ("STATISTICS:\ncycles = 1\nSTATISTICS DONE\n", Written());
  cycles = 2;
  printer.Output(&container);
  EXPECT_EQ(
      "STATISTICS:\ncycles = 1\nSTATISTICS DONE\n"
      "STATISTICS:\ncycles = 2\nSTATISTICS DONE\n",
      Written());
}

TEST_F(StatsPrinterTest, TheFileIsOpenedOnceWriteOnlyAndForAppending) {
  printer.Output(&container);
  const int descriptor = printer.outputFile.GetFD();
  const int flags = fcntl(descriptor, F_GETFL);
  EXPECT_EQ(O_WRONLY, flags & O_ACCMODE);
  EXPECT_NE(0, flags & O_APPEND);
  printer.Output(&container);
  EXPECT_EQ(descriptor, printer.outputFile.GetFD());
}

TEST_F(StatsPrinterTest, ReportsAreAppendedBehindWhatOthersWrote) {
  printer.Output(&container);
  WriteFile(dir.File("report"), "a note that somebody else left here in the meantime\n");
  printer.Output(&container);
  EXPECT_EQ(
      "a note that somebody else left here in the meantime\n"
      "STATISTICS:\nSTATISTICS DONE\n",
      Written());
}

TEST_F(StatsPrinterTest, TheFileIsMadeForAllLessTheUmask) {
  const mode_t before = umask(027);
  printer.Output(&container);
  umask(before);
  struct stat status;
  ASSERT_EQ(0, stat(dir.File("report").c_str(), &status));
  EXPECT_EQ(0640u, status.st_mode & 0777u);
}

TEST_F(StatsPrinterTest, WithoutANameTheReportGoesToStandardOutput) {
  StatsPrinter plain;
  EXPECT_EQ("", plain.outputFileName);
  unsigned long long cycles;
  container.AddStat(&cycles, "cycles", "", 1);
  ::testing::internal::CaptureStdout();
  plain.Output(&container);
  plain.Output(&container);
  EXPECT_EQ(
      "STATISTICS:\ncycles = 1\nSTATISTICS DONE\n"
      "STATISTICS:\ncycles = 1\nSTATISTICS DONE\n",
      ::testing::internal::GetCapturedStdout());
  EXPECT_EQ(stdout, plain.outputFile.GetFILE());
  EXPECT_TRUE(plain.outputFile == File::Stdout);
}

// Both are on the descriptor 1 of the process: only another stream in the place of one of them
// tells which of them is taken.
TEST_F(StatsPrinterTest, StandardOutputIsTheFileOfTheProcessAndNotThatOfOrdinaryOutput) {
  StatsPrinter plain;
  const File before = File::Stdout;
  ::testing::internal::CaptureStdout();
  const std::string report = WrittenBy([&](FILE* stream) {
    FILE* file = tmpfile();
    File::Stdout = File(file, false);
    plain.Output(&container);
    File::Stdout = before;
    rewind(file);
    for (int c = getc(file); c != EOF; c = getc(file)) {
      putc(c, stream);
    }
    fclose(file);
  });
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("STATISTICS:\nSTATISTICS DONE\n", report);
}

TEST_F(StatsPrinterTest, AnOpenFileIsUsedWhateverTheName) {
  File file(true);
  file.Open(dir.File("other"), File::WRITE_FLAGS, File::DEFAULT_MODE);
  printer.outputFile = file;
  printer.Output(&container);
  EXPECT_EQ("STATISTICS:\nSTATISTICS DONE\n", ReadFile(dir.File("other")));
  EXPECT_NE(0, access(dir.File("report").c_str(), F_OK));
}

TEST_F(StatsPrinterTest, TheNameIsAnOptionWhoseDefaultTheConstructorTakes) {
  std::string usage;
  EXPECT_STREQ("-outputFileName:  file for the statistics report, empty for the standard output\n",
               printer.GetUsageString(usage));
  const std::string name = dir.File("named");
  std::vector<std::string> words = {"program", "-outputFileName", name};
  std::vector<char*> argv = {words[0].data(), words[1].data(), words[2].data(), nullptr};
  CommandLine commandLine(3, argv.data());
  EXPECT_TRUE(printer.ParseCommandLine(&commandLine, CommandLineParser::MODE_STRICT));
  EXPECT_EQ(name, printer.outputFileName);
  printer.Output(&container);
  EXPECT_EQ("STATISTICS:\nSTATISTICS DONE\n", ReadFile(name));
}

TEST_F(StatsPrinterTest, TheReportOfARootGoesThroughTheHandlerOfAllContainers) {
  StatsContainer::output = &printer;
  container.DoStatsOutput();
  StatsContainer::output = nullptr;
  EXPECT_EQ("STATISTICS:\nSTATISTICS DONE\n", Written());
}

// Failures.

TEST_F(StatsPrinterDeathTest, AFileThatCannotBeOpenedEndsTheProgramWithTheSystemsText) {
  printer.outputFileName = dir.File("none/report");
  EXPECT_EXIT(printer.Output(&container), KilledBySignal(SIGABRT),
              ::testing::Eq("No such file or directory\n"));
}

TEST_F(StatsPrinterTest, TellsWhetherItsReportsHaveReachedTheFile) {
  EXPECT_FALSE(printer.IsReportWritten()) << "there is none yet";
  printer.Output(&container);
  EXPECT_TRUE(printer.IsReportWritten());
  printer.Output(&container);
  EXPECT_TRUE(printer.IsReportWritten());
}

TEST_F(StatsPrinterTest, AReportOnAFullDeviceIsNotWritten) {
  printer.outputFileName = "/dev/full";
  printer.Output(&container);
  EXPECT_FALSE(printer.IsReportWritten());
}

TEST_F(StatsPrinterTest, AReportIsNotWrittenWhereItsFileCannotBeOpenedAndThatEndsNothing) {
  printer.outputFile = File(false);
  printer.outputFileName = dir.File("none/report");
  printer.Output(&container);
  EXPECT_FALSE(printer.IsReportWritten());
}

TEST_F(StatsPrinterDeathTest, AStatisticOfAnUnknownTypeIsFatal) {
  const int variable = 0;
  container.stats = {StatsContainer::Stat(StatsContainer::INVALID, "bad", "", &variable)};
  EXPECT_EXIT(printer.Output(&container), KilledBySignal(SIGABRT),
              CrashReport("Core/StatsContainer.cpp", "Illegal stat type.\n"));
}

}  // namespace
