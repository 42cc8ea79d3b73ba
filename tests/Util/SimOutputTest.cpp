#include "Util/SimOutput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "Util/Regression.h"
#include "tests/Util/Fixtures.h"
#include "tests/Util/SystemCalls.h"
#include "tests/support/Command.h"

namespace marrowfin::testing {
namespace {

using ::testing::Eq;
using ::testing::ExitedWithCode;
using ::testing::KilledBySignal;

class SimOutputTest : public ::testing::Test {
 protected:
  SimOutputTest()
      : err(SimOutput::err),
        out(SimOutput::out),
        debug(SimOutput::debug),
        trace(SimOutput::trace) {}

  // What each of the four Files was given, in the order err, out, debug, trace.
  std::vector<std::string> Texts() const {
    return {err.Text(), out.Text(), debug.Text(), trace.Text()};
  }

  static std::vector<std::string> OnlyErr(const std::string& text) { return {text, "", "", ""}; }
  static std::vector<std::string> OnlyOut(const std::string& text) { return {"", text, "", ""}; }
  static std::vector<std::string> OnlyDebug(const std::string& text) { return {"", "", text, ""}; }
  static std::vector<std::string> OnlyTrace(const std::string& text) { return {"", "", "", text}; }

 private:
  Redirected err;
  Redirected out;
  Redirected debug;
  Redirected trace;
};

TEST(SimOutputStreamsTest, OrdinaryOutputGoesToStandardOutputAndAllElseToStandardError) {
  EXPECT_EQ(stderr, SimOutput::err.GetFILE());
  EXPECT_EQ(stdout, SimOutput::out.GetFILE());
  EXPECT_EQ(stderr, SimOutput::debug.GetFILE());
  EXPECT_EQ(stderr, SimOutput::trace.GetFILE());
  EXPECT_EQ(STDERR_FILENO, SimOutput::err.GetFD());
  EXPECT_EQ(STDOUT_FILENO, SimOutput::out.GetFD());
  EXPECT_EQ(STDERR_FILENO, SimOutput::debug.GetFD());
  EXPECT_EQ(STDERR_FILENO, SimOutput::trace.GetFD());
}

TEST(SimOutputStreamsTest, NoneIsCrashOnError) {
  class Shown : public File {
   public:
    explicit Shown(const File& file) : File(file) {}
    bool IsCrashOnError() const { return crashOnError != 0; }
  };
  EXPECT_FALSE(Shown(SimOutput::err).IsCrashOnError());
  EXPECT_FALSE(Shown(SimOutput::out).IsCrashOnError());
  EXPECT_FALSE(Shown(SimOutput::debug).IsCrashOnError());
  EXPECT_FALSE(Shown(SimOutput::trace).IsCrashOnError());
}

TEST(SimOutputStreamsTest, FilesAreBuiltInTheOrderErrOutDebugTrace) {
  // The program's two sets of streams, this one and that of File, are built before main, in an
  // order of the linker's choice.
  const std::vector<FILE*> asked = SystemCalls::FirstStreams();
  ASSERT_LE(7u, asked.size());
  const std::vector<FILE*> expected = {stderr, stdout, stderr, stderr};
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), asked.begin()) ||
              std::equal(expected.begin(), expected.end(), asked.begin() + 3));
}

TEST_F(SimOutputTest, PrintGoesToOutputAndCompletesNoLine) {
  EXPECT_EQ(9, SimOutput::Print("x=%d y=%s", 12, "ab"));
  EXPECT_EQ(OnlyOut("x=12 y=ab"), Texts());
}

TEST_F(SimOutputTest, PrintErrorGoesToErrorAndCompletesNoLine) {
  EXPECT_EQ(9, SimOutput::PrintError("x=%d y=%s", 12, "ab"));
  EXPECT_EQ(OnlyErr("x=12 y=ab"), Texts());
}

TEST_F(SimOutputTest, PrintAndPrintErrorTakeALiteralZero) {
  SimOutput::Print("%d\n", 0);
  SimOutput::PrintError("%d\n", 0);
  EXPECT_EQ(std::vector<std::string>({"0\n", "0\n", "", ""}), Texts());
}

TEST_F(SimOutputTest, DebugHasThePlaceInFrontAndCompletesTheLineWhenTold) {
  EXPECT_EQ(1, SimOutput::_Debug(true, "Grid", 12, "odd size %d", 3));
  EXPECT_EQ(OnlyDebug("[Grid:12]:  odd size 3\n"), Texts());
}

TEST_F(SimOutputTest, DebugLeavesTheLineOpenWhenTold) {
  EXPECT_EQ(10, SimOutput::_Debug(false, "Grid", 12, "odd size %d", 3));
  EXPECT_EQ(OnlyDebug("[Grid:12]:  odd size 3"), Texts());
}

TEST_F(SimOutputTest, TraceHasNoPrefixAndCompletesTheLineWhenTold) {
  EXPECT_EQ(1, SimOutput::_Trace(true, "Grid", 12, "odd size %d", 3));
  EXPECT_EQ(OnlyTrace("odd size 3\n"), Texts());
}

TEST_F(SimOutputTest, TraceLeavesTheLineOpenWhenTold) {
  EXPECT_EQ(10, SimOutput::_Trace(false, "Grid", 12, "odd size %d", 3));
  EXPECT_EQ(OnlyTrace("odd size 3"), Texts());
}

TEST_F(SimOutputTest, WarnHasItsPrefixAndAlwaysCompletesTheLine) {
  EXPECT_EQ(1, SimOutput::_Warn(false, "Grid", 12, "odd size %d", 3));
  EXPECT_EQ(1, SimOutput::_Warn(true, "Grid", 13, "odd size %d", 4));
  EXPECT_EQ(OnlyErr("WARN[Grid:12]:  odd size 3\nWARN[Grid:13]:  odd size 4\n"), Texts());
}

TEST_F(SimOutputTest, FormatThatEndsInALineFeedGetsNoSecondOne) {
  for (const bool newline : {false, true}) {
    EXPECT_EQ(4, SimOutput::_Debug(newline, "G", 1, "a%d\n", 10));
    EXPECT_EQ(5, SimOutput::_Trace(newline, "G", 1, "ab%d\n", 10));
    EXPECT_EQ(6, SimOutput::_Warn(newline, "G", 1, "abc%d\n", 10));
  }
  EXPECT_EQ(std::vector<std::string>({"WARN[G:1]:  abc10\nWARN[G:1]:  abc10\n", "",
                                      "[G:1]:  a10\n[G:1]:  a10\n", "ab10\nab10\n"}),
            Texts());
}

TEST_F(SimOutputTest, FormatDecidesAndNotTheTextThatItGives) {
  SimOutput::_Debug(true, "G", 1, "%s", "a\n");
  SimOutput::_Trace(true, "G", 1, "%s", "a\n");
  SimOutput::_Warn(false, "G", 1, "%s", "a\n");
  EXPECT_EQ(std::vector<std::string>({"WARN[G:1]:  a\n\n", "", "[G:1]:  a\n\n", "a\n\n"}), Texts());
}

TEST_F(SimOutputTest, LineFeedWithinTheFormatDoesNotEndTheLine) {
  SimOutput::_Trace(true, "G", 1, "a\nb");
  SimOutput::_Trace(true, "G", 1, "\n");
  SimOutput::_Trace(true, "G", 1, "c");
  EXPECT_EQ(OnlyTrace("a\nb\n\nc\n"), Texts());
}

TEST_F(SimOutputTest, EmptyFormatDoesNotEndTheLineWhateverStandsBeforeIt) {
  const char* empty = &"\n"[1];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  SimOutput::_Trace(true, "G", 1, empty);
#pragma GCC diagnostic pop
  EXPECT_EQ(OnlyTrace("\n"), Texts());
}

TEST_F(SimOutputTest, PercentSignsInThePlaceAreNoDirectives) {
  SimOutput::_Debug(true, "%d%s", 1, "a");
  SimOutput::_Warn(true, "%d%s", 1, "a");
  EXPECT_EQ(std::vector<std::string>({"WARN[%d%s:1]:  a\n", "", "[%d%s:1]:  a\n", ""}), Texts());
}

TEST_F(SimOutputTest, NothingIsPrintedWhereTheFileHasNoStream) {
  SimOutput::err = File(false);
  SimOutput::out = File(false);
  SimOutput::debug = File(false);
  SimOutput::trace = File(false);
  EXPECT_EQ(0, SimOutput::Print("text"));
  EXPECT_EQ(0, SimOutput::PrintError("text"));
  EXPECT_EQ(0, SimOutput::_Debug(true, "G", 1, "text"));
  EXPECT_EQ(0, SimOutput::_Trace(true, "G", 1, "text"));
  EXPECT_EQ(0, SimOutput::_Warn(true, "G", 1, "text"));
  EXPECT_EQ(OnlyErr(""), Texts());
}

TEST_F(SimOutputTest, MacrosGiveThePlaceAndCompleteTheLine) {
  const int line = __LINE__;
  SIM_DEBUG("debug %d", 1);
  SIM_TRACE("trace %d", 2);
  SIM_WARN("warn");
  const std::string file = "tests/Util/SimOutputTest.cpp:";
  EXPECT_EQ(std::vector<std::string>({"WARN[" + file + std::to_string(line + 3) + "]:  warn\n", "",
                                      "[" + file + std::to_string(line + 1) + "]:  debug 1\n",
                                      "trace 2\n"}),
            Texts());
}

// ---- Static objects of a program

TEST(SimOutputStaticObjectsTest, WorkInTheConstructorsAndDestructorsOfTheProgramsStaticObjects) {
  const CommandResult run = RunCommand({STATIC_OBJECTS});
  EXPECT_EQ(
      "print\nstandard output\ndescriptor 0\ncalled\nRegression FAILED: too early\n\n"
      "gone, 1 callbacks\n",
      run.out);
  EXPECT_EQ(
      "error\n[tests/Util/StaticObjects.cpp:18]:  debug\ntrace\n"
      "WARN[tests/Util/StaticObjects.cpp:20]:  warn\nstandard error\n",
      run.err);
  EXPECT_EQ(0, run.exitStatus);
}

// ---- Crash

TEST(SimOutputCrashTest, CrashHasItsPrefixAlwaysCompletesTheLineAndAborts) {
  for (const bool newline : {false, true}) {
    EXPECT_EXIT(SimOutput::_Crash(newline, "Grid", 12, "odd size %d", 3), KilledBySignal(SIGABRT),
                Eq("CRASH[Grid:12]:  odd size 3\n"));
    EXPECT_EXIT(SimOutput::_Crash(newline, "Grid", 12, "odd size %d\n", 3), KilledBySignal(SIGABRT),
                Eq("CRASH[Grid:12]:  odd size 3\n"));
    EXPECT_EXIT(SimOutput::_Crash(newline, "Grid", 12, "%s", "a\n"), KilledBySignal(SIGABRT),
                Eq("CRASH[Grid:12]:  a\n\n"));
  }
}

TEST(SimOutputCrashTest, CrashGoesToErr) {
  EXPECT_EXIT(
      {
        SimOutput::out = SimOutput::debug = SimOutput::trace = File(false);
        SimOutput::_Crash(true, "G", 1, "end");
      },
      KilledBySignal(SIGABRT), Eq("CRASH[G:1]:  end\n"));
}

TEST(SimOutputCrashTest, CrashWithoutAStreamPrintsNothingAndAbortsAllTheSame) {
  EXPECT_EXIT(
      {
        SimOutput::err = File(false);
        SimOutput::_Crash(true, "G", 1, "end");
      },
      KilledBySignal(SIGABRT), Eq(""));
}

void ReportStateAndLeave(int) {
  fprintf(stderr, "state %d, reason '%s'\n", static_cast<int>(Regression::success),
          Regression::reason.c_str());
  exit(7);
}

TEST(SimOutputCrashTest, CrashMarksTheRunFailedWithoutAReasonBeforeItAborts) {
  EXPECT_EXIT(
      {
        signal(SIGABRT, ReportStateAndLeave);
        SimOutput::_Crash(true, "G", 1, "end");
      },
      ExitedWithCode(7), Eq("CRASH[G:1]:  end\nstate 0, reason ''\n"));
}

TEST(SimOutputCrashTest, CrashMacroGivesThePlaceAndCompletesTheLine) {
  const std::string place = "tests/Util/SimOutputTest.cpp:" + std::to_string(__LINE__ + 1);
  EXPECT_EXIT(SIM_CRASH("bad %s", "end"), KilledBySignal(SIGABRT),
              Eq("CRASH[" + place + "]:  bad end\n"));
}

}  // namespace
}  // namespace marrowfin::testing
