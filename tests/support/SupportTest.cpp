#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "tests/support/Command.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"

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

}  // namespace
}  // namespace marrowfin::testing
