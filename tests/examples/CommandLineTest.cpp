// The example's command line: what it accepts, what it says, how it ends.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/examples/Example.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST(HelpTest, ListsEveryOptionOnStandardOutputAndSucceeds) {
  const CommandResult result = RunExample({"--help"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("", result.err);
  EXPECT_THAT(result.out, StartsWith("systolic_matmul [OPTION VALUE]...\n"));
  for (const char* name :
       {"-c", "-d", "-p", "-array/dotFile", "-array/host/rows", "-array/host/inner",
        "-array/host/columns", "-array/host/threads", "-array/host/products", "-array/host/gap",
        "-array/host/seed", "-array/vis/outFilename", "-array/c0_0/d0_0/pe0_0/faulty",
        "-array/stats/outputFileName"}) {
    EXPECT_THAT(result.out, HasSubstr("\n" + std::string(name) + ":  "));
  }
  // Of thousands of units, one of each kind.
  EXPECT_THAT(result.out, Not(HasSubstr("pe0_1/faulty")));
}

TEST(HelpTest, WinsOverOtherWordsAndRunsNothing) {
  const CommandResult result = RunExample({"-c", "0", "--help"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ(RunExample({"--help"}).out, result.out);
  EXPECT_THAT(result.out, Not(HasSubstr("Regression")));
}

TEST(HelpTest, IsAWordLikeOthersBehindTheStopWord) {
  EXPECT_THAT(RunExample({"-c", "1", "--", "--help"}).out, EndsWith("Regression PASSED\n"));
}

TEST(VersionTest, IsOneLineOnStandardOutput) {
  const CommandResult result = RunExample({"--version"});
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("systolic_matmul " MARROWFIN_VERSION "\n", result.out);
  EXPECT_EQ("", result.err);
}

struct Mistake {
  Words arguments;
  std::string message;
};

void PrintTo(const Mistake& mistake, std::ostream* stream) { *stream << mistake.message; }

class MistakeTest : public ::testing::TestWithParam<Mistake> {};

INSTANTIATE_TEST_SUITE_P(
    Mistakes, MistakeTest,
    ::testing::Values(
        Mistake{{"-c", "0"}, "systolic_matmul: -c is 0, must be 1 to 256\n"},
        Mistake{{"-d", "0"}, "systolic_matmul: -d is 0, must be 1 to 256\n"},
        Mistake{{"-p", "0"}, "systolic_matmul: -p is 0, must be 1 to 256\n"},
        Mistake{{"-c", "many"}, "systolic_matmul: -c is 0, must be 1 to 256\n"},
        Mistake{{"-p", "-1"}, "systolic_matmul: -p is 4294967295, must be 1 to 256\n"},
        Mistake{{"-c", "257"}, "systolic_matmul: -c is 257, must be 1 to 256\n"},
        Mistake{{"-c", "129", "-d", "2", "-p", "1"},
                "systolic_matmul: -c times -d times -p is 258, must be 1 to 256\n"},
        // 2^33 PEs along an axis must not be taken for the 0 that is left of it in 32 bits.
        Mistake{{"-c", "4", "-d", "2147483648", "-p", "1"},
                "systolic_matmul: -d is 2147483648, must be 1 to 256\n"},
        Mistake{{"-.*rows", "0"}, "systolic_matmul: rows is 0, must be 1 to 1024\n"},
        Mistake{{"-.*rows", "1025"}, "systolic_matmul: rows is 1025, must be 1 to 1024\n"},
        Mistake{{"-.*inner", "0"}, "systolic_matmul: inner is 0, must be 1 to 1024\n"},
        Mistake{{"-.*columns", "0"}, "systolic_matmul: columns is 0, must be 1 to 1024\n"},
        Mistake{{"-.*threads", "0"}, "systolic_matmul: threads is 0, must be 1 to 1024\n"},
        Mistake{{"-.*products", "0"}, "systolic_matmul: products is 0, must be 1 to 1000000\n"},
        Mistake{{"-.*gap", "1025"}, "systolic_matmul: gap is 1025, must be 0 to 1024\n"},
        Mistake{{"-c"}, "systolic_matmul: -c has no value\n"},
        Mistake{{"-c", "1", "-.*outFilename"}, "systolic_matmul: -.*outFilename has no value\n"},
        Mistake{{"-colour", "red"}, "Illegal option: -colour near <begining of line or so>\n"},
        Mistake{{"-c", "1", "-array/c0_0/d0_0/pe9_9/faulty", "true"},
                "Illegal option: -array/c0_0/d0_0/pe9_9/faulty near -c\n"}));

TEST_P(MistakeTest, IsReportedOnStandardErrorAndEndsTheProgramWithStatus2) {
  const TempDir directory;
  Words arguments = {"-array/vis/outFilename", "trace"};
  arguments.insert(arguments.begin(), GetParam().arguments.begin(), GetParam().arguments.end());
  // A missing value can only be noticed at the end.
  if (GetParam().arguments.size() % 2 != 0) {
    arguments = GetParam().arguments;
  }
  const CommandResult result = RunExample(arguments, directory.Path());
  EXPECT_EQ(2, result.exitStatus);
  EXPECT_EQ("", result.out);
  EXPECT_THAT(result.err, StartsWith(GetParam().message));
  EXPECT_EQ("", RunCommand({"ls", "-A", directory.Path()}).out);
}

TEST(CommandLineTest, WordsThatMeanNothingAreAllReportedWithAHint) {
  const CommandResult result = RunExample({"-x", "1", "-y", "2"});
  EXPECT_EQ(
      "Illegal option: -x near <begining of line or so>\n"
      "Illegal option: -y near -x\n"
      "systolic_matmul: --help lists the options\n",
      result.err);
}

TEST(CommandLineTest, AWordThatIsNoPatternCrashesTheRun) {
  const CommandResult result = RunExample({"-a[", "1"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.err, HasSubstr("Faulty pattern: "));
  EXPECT_EQ("Regression FAILED: SIGABRT\n\n", result.out);
}

TEST(CommandLineTest, ATraceThatCannotBeOpenedEndsTheRunWithTheSystemsText) {
  const CommandResult result = RunExample({"-.*outFilename", "/nonexistent/trace"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("No such file or directory\n", result.err);
  EXPECT_EQ("Regression FAILED: SIGABRT\n\n", result.out);
}

TEST(CommandLineTest, ATraceThatCannotBeWrittenEndsTheRunWithTheSystemsTextAndAReport) {
  const CommandResult result = RunExample({"-c", "1", "-.*outFilename", "/dev/full"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("No space left on device\n", result.err);
  EXPECT_THAT(result.out, AllOf(HasSubstr("\nSTATISTICS:\n"),
                                EndsWith("STATISTICS DONE\nRegression FAILED: SIGABRT\n\n")));
}

TEST(CommandLineTest, AReportThatCannotBeWrittenFailsTheRun) {
  const CommandResult result = RunExample({"-c", "1", "-.*outputFileName", "/dev/full"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_EQ("Regression FAILED: the report could not be written\n\n", result.out);
}

TEST(CommandLineTest, NumbersAreDecimalWhateverTheyBeginWith) {
  const Words plain = {"-c", "2", "-d", "1", "-p", "4", "-.*rows", "10", "-.*gap", "0"};
  const Words zeros = {"-c", "02", "-d", "0001", "-p", "04", "-.*rows", "010", "-.*gap", "000"};
  EXPECT_EQ(RunExample(plain).out, RunExample(zeros).out);
  const TempDir directory;
  EXPECT_EQ(0, RunExample({"-c", "1", "-.*outFilename", "007"}, directory.Path()).exitStatus);
  EXPECT_EQ("007\n", RunCommand({"ls", "-A", directory.Path()}).out);
}

// Of the products of four clusters, only those with work in a faulty one go wrong.
int StatusWithFaulty(const std::string& pattern) {
  Words arguments = Shape{2, 2, 2, 4, 3, 4, 1, 1, 0}.Arguments();
  arguments.insert(arguments.end(), {pattern, "true"});
  return RunExample(arguments).exitStatus;
}

TEST(PatternTest, OneWordReachesManyUnits) {
  EXPECT_EQ(1, StatusWithFaulty("-.*/faulty"));
  EXPECT_EQ(1, StatusWithFaulty("-array/c0_0/.*"));
  EXPECT_EQ(1, StatusWithFaulty("-array/c[01]_[01]/d1_.*/faulty"));
}

TEST(PatternTest, ReachesNoOtherUnit) {
  EXPECT_EQ(0, StatusWithFaulty("-array/c0_1/.*"));
  EXPECT_EQ(0, StatusWithFaulty("-array/c1_.*/faulty"));
}

// Two clusters beside each other have work, and the two above them have none.
TEST(PatternTest, NamesClustersByColumnAndRow) {
  const auto status = [](const std::string& pattern) {
    Words arguments = Shape{2, 1, 2, 2, 3, 4, 1, 1, 0}.Arguments();
    arguments.insert(arguments.end(), {pattern, "true"});
    return RunExample(arguments).exitStatus;
  };
  EXPECT_EQ(1, status("-array/c1_0/.*"));
  EXPECT_EQ(1, status("-array/c._0/.*"));
  EXPECT_EQ(0, status("-array/c0_1/.*"));
  EXPECT_EQ(0, status("-array/c._1/.*"));
}

TEST(PatternTest, MustCoverTheWholeName) {
  EXPECT_EQ(2, StatusWithFaulty("faulty"));
  EXPECT_EQ(2, StatusWithFaulty("-array/c0_0/d0_0/pe0_0"));
}

TEST(PatternTest, AlsoFindsTheShapeOfTheArray) {
  EXPECT_EQ(RunExample({"-c", "2", "-d", "2", "-p", "2"}).out, RunExample({"-[cdp]", "2"}).out);
}

TEST(OptionFileTest, SettingsAreReadFromIt) {
  const TempDir directory;
  WriteFile(directory.File("-cmdLineFile"), "-c 1\n-.*rows 3\n-.*outFilename from-file\n");
  const CommandResult result = RunExample({"-cmdLineFile", "-"}, directory.Path());
  EXPECT_EQ(0, result.exitStatus) << result.err;
  EXPECT_EQ(RunExample({"-c", "1", "-.*rows", "3"}).out,
            result.out.substr(result.out.find("STATISTICS:")));
  EXPECT_FALSE(ReadFile(directory.File("from-file")).empty());
}

}  // namespace marrowfin::testing
