#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/support/Reports.h"
#include "tests/support/TraceText.h"
#include "tests/support/VirtualSlots.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

std::string Bytes(std::initializer_list<int> values) { return {values.begin(), values.end()}; }

TEST(TraceTextTest, AFireIsTypeThreeWithColumnAndRow) {
  EXPECT_EQ(
      Bytes({0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 1, 2, 0, 0, 0, 7, 0, 0, 0, 8, 0, 0, 0, 5, 0, 0, 0, 6}),
      TraceBytes("fire 258 7 5 6"));
}

TEST(TraceTextTest, ASwitchIsTypeTwoWithColumnAndRow) {
  EXPECT_EQ(
      Bytes({0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 0, 0, 0, 4, 0, 0, 1, 4}),
      TraceBytes("switch 0 0 4 260"));
}

TEST(TraceTextTest, ASendIsTypeFourWithBothEnds) {
  EXPECT_EQ(Bytes({0, 0,  0, 4, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255, 0, 0,
                   0, 16, 0, 0, 0,   1,   0,   0,   0,   2,   0,   0,   0,   3,   0,   0,   0, 4}),
            TraceBytes("send 18446744073709551615 4294967295 1 2 3 4"));
}

TEST(TraceTextTest, ARawRecordMaySayAnyLengthBeforeAnyBytes) {
  EXPECT_EQ(
      Bytes({0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0xAB, 0xCD, 0xEF, 0x01}),
      TraceBytes("raw 9 1 2 3 ab CDef 01"));
  EXPECT_EQ(20u, TraceBytes("raw 1 0 0 0").size());
}

TEST(TraceTextTest, RecordsFollowEachOtherAndCommentsAndBlankLinesAreIgnored) {
  EXPECT_EQ(TraceBytes("fire 1 2 3 4") + TraceBytes("switch 5 6 7 8"),
            TraceBytes("# a comment\n\n  fire 1 2 3 4\n   \n  # another\nswitch 5 6 7 8\n"));
  EXPECT_EQ("", TraceBytes(""));
}

TEST(TraceTextTest, MalformedTextIsRefusedWithItsLine) {
  for (const char* line :
       {"fire 1 2 3", "fire 1 2 3 4 5", "fire 1 2 3 x", "fire 1 2 3 -4", "fire 1 2 3 4294967296",
        "fire 18446744073709551616 2 3 4", "jump 1 2 3 4", "raw 1 2 3 4 abc", "raw 1 2 3 4 zz",
        "raw 1 2 3", "send 1 2 3 4 5", "fire 1 2 3 4z"}) {
    EXPECT_THAT([&] { TraceBytes(std::string("fire 0 0 0 0\n") + line); },
                ThrowsMessage<std::invalid_argument>(HasSubstr(line)));
  }
}

TEST(TempDirTest, TheDirectoryGoesWithAllThatItHolds) {
  std::string path;
  {
    const TempDir dir;
    path = dir.Path();
    std::filesystem::create_directory(dir.File("below"));
    WriteFile(dir.File("below/file"), "x");
    EXPECT_TRUE(std::filesystem::exists(path + "/below/file"));
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(FilesTest, WhatIsWrittenIsReadByteForByte) {
  const TempDir dir;
  for (const std::string& bytes : {std::string(), std::string("a\0\r\n\xFF", 5)}) {
    WriteFile(dir.File("f"), bytes);
    EXPECT_EQ(bytes, ReadFile(dir.File("f")));
  }
}

TEST(FilesTest, AMissingFileOrDirectoryIsReported) {
  const TempDir dir;
  EXPECT_THROW(ReadFile(dir.File("none")), std::runtime_error);
  EXPECT_THROW(WriteFile(dir.File("none/f"), "x"), std::runtime_error);
}

TEST(RunCommandTest, WhatTheTestWasToldToIgnoreItsCommandsAreNot) {
  const auto before = signal(SIGHUP, SIG_IGN);
  const CommandResult result = RunCommand({"sh", "-c", "kill -HUP $$; echo alive"});
  signal(SIGHUP, before);
  EXPECT_EQ(SIGHUP, result.signal);
  EXPECT_EQ("", result.out);
}

TEST(RunCommandTest, OutputErrorAndStatusAreTaken) {
  const CommandResult result = RunCommand({"sh", "-c", "echo out; echo err >&2; exit 3"});
  EXPECT_EQ(3, result.exitStatus);
  EXPECT_EQ(0, result.signal);
  EXPECT_EQ("out\n", result.out);
  EXPECT_EQ("err\n", result.err);
}

TEST(RunCommandTest, ASignalIsTold) {
  const CommandResult result = RunCommand({"sh", "-c", "kill -ABRT $$"});
  EXPECT_EQ(-1, result.exitStatus);
  EXPECT_EQ(SIGABRT, result.signal);
}

TEST(RunCommandTest, InputDirectoryAndEnvironmentAreGiven) {
  const TempDir dir;
  const CommandResult result =
      RunCommand({"sh", "-c", "cat; pwd; echo $WORD"}, {"given\n", dir.Path(), {"WORD=spoken"}});
  EXPECT_EQ("given\n" + dir.Path() + "\nspoken\n", result.out);
}

TEST(RunCommandTest, AProgramThatCannotStartIsReported) {
  EXPECT_THROW(RunCommand({"marrowfin-no-such-program"}), std::runtime_error);
  EXPECT_THROW(RunCommand({"true"}, {"", "/nowhere/at/all", {}}), std::runtime_error);
  EXPECT_THROW(RunCommand({}), std::runtime_error);
}

// The reports name lines of Util/File.cpp, which has one such check, and of
// Util/CommandLineParser.cpp, which has several crashes.
int LineOf(const std::string& file, const std::string& code) {
  const std::string source = ReadFile(std::string(MARROWFIN_SOURCE_DIR) + "/" + file);
  const size_t found = source.find(code);
  EXPECT_NE(std::string::npos, found);
  return static_cast<int>(std::count(source.begin(), source.begin() + found, '\n')) + 1;
}

TEST(ReportsTest, AnAssertionReportMatchesAsAWholeAndAtTheLineOfItsCheck) {
  const std::string file = "Util/File.cpp";
  const std::string expression = "offset < INT_MAX";
  const auto matcher = AssertionReport(file, expression);
  const int line = LineOf(file, "SIM_ASSERT(" + expression + ")");
  const std::string after = ": failed assertion `" + expression + "'\n";
  EXPECT_TRUE(matcher.Matches(file + ":" + std::to_string(line) + after));
  EXPECT_FALSE(matcher.Matches(file + ":" + std::to_string(line + 1) + after));
  EXPECT_FALSE(matcher.Matches(file + ":" + std::to_string(line) + after + "more"));
  EXPECT_FALSE(matcher.Matches("/" + file + ":" + std::to_string(line) + after));
  EXPECT_FALSE(matcher.Matches(file + ":" + after));
}

TEST(ReportsTest, ACrashReportMatchesAsAWholeAndAtTheLineOfItsCrash) {
  const std::string file = "Util/CommandLineParser.cpp";
  const auto matcher = CrashReport(file, "why (not)?\n");
  const std::string line = std::to_string(LineOf(file, "SIM_CRASH("));
  EXPECT_TRUE(matcher.Matches("CRASH[" + file + ":" + line + "]:  why (not)?\n"));
  EXPECT_FALSE(matcher.Matches("CRASH[" + file + ":1]:  why (not)?\n"));
  EXPECT_FALSE(matcher.Matches("CRASH[" + file + ":" + line + "]:  why (not)?"));
}

struct Slots {
  virtual int First() { return 1; }
  virtual int Second() { return 2; }
  virtual ~Slots() = default;
  int Plain() { return 3; }
};

TEST(VirtualSlotsTest, SlotsAreCountedFromZeroAndOnlyOfVirtualOperations) {
  EXPECT_EQ(0u, VirtualSlot(&Slots::First));
  EXPECT_EQ(1u, VirtualSlot(&Slots::Second));
  EXPECT_THROW(VirtualSlot(&Slots::Plain), std::invalid_argument);
}

TEST(VirtualSlotsTest, ADestructorIsCalledByItsSlot) {
  static int destroyed;
  struct Derived : Slots {
    ~Derived() override { ++destroyed; }
  };
  alignas(Derived) char storage[sizeof(Derived)];
  CallVirtualSlot(new (storage) Derived, 2);
  EXPECT_EQ(1, destroyed);
}

}  // namespace
}  // namespace marrowfin::testing
