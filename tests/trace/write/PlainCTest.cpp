// The plain-C header against the library: the same bytes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Core/VisTool.h"
#include "tests/support/Files.h"
#include "tests/trace/write/PlainC.h"
#include "trace/marrowfin_trace.h"

namespace marrowfin::testing {

class PlainCTest : public ::testing::Test {
 protected:
  // What the trace tool makes of the events that WriteInPlainC writes.
  std::string LibraryBytes() const {
    VisTool tool;
    tool.outFilename = directory.File("library");
    tool.InitializeForWrite();
    tool.WriteEvent(new PEFire(0, 0, Location(0, 0)));
    tool.WriteEvent(new PEFire(5, 1, Location(2, 7)));
    tool.WriteEvent(
        new NetworkSwitchTransmission(0x0102030405060708, 0xFFFFFFFF, Location(12, 20)));
    tool.WriteEvent(new MessageSend(0xFFFFFFFFFFFFFFFF, 0x01020304, Location(1, 2),
                                    Location(0xFFFFFFFF, 0x80000000)));
    tool.outFile.Close();
    return ReadFile(directory.File("library"));
  }

  TempDir directory;
};

TEST_F(PlainCTest, CompiledAsCWritesWhatTheTraceToolWrites) {
  ASSERT_EQ(0, WriteInPlainC(directory.File("c").c_str()));
  EXPECT_EQ(LibraryBytes(), ReadFile(directory.File("c")));
}

TEST_F(PlainCTest, CompiledAsCxxWritesWhatTheTraceToolWrites) {
  marrowfin_trace trace;
  ASSERT_EQ(0, marrowfin_trace_open(&trace, directory.File("cxx").c_str()));
  EXPECT_EQ(0, marrowfin_trace_fire(&trace, 0, 0, 0, 0));
  EXPECT_EQ(0, marrowfin_trace_fire(&trace, 5, 1, 2, 7));
  EXPECT_EQ(0, marrowfin_trace_switch(&trace, 0x0102030405060708, 0xFFFFFFFF, 8, 16));
  EXPECT_EQ(0, marrowfin_trace_send(&trace, 0xFFFFFFFFFFFFFFFF, 0x01020304, 1, 2, 0xFFFFFFFF,
                                    0x80000000));
  EXPECT_EQ(4U, trace.records);
  EXPECT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_EQ(LibraryBytes(), ReadFile(directory.File("cxx")));
}

TEST_F(PlainCTest, AFileThatCannotBeOpenedIsReportedByEveryCall) {
  marrowfin_trace trace;
  EXPECT_EQ(ENOENT, marrowfin_trace_open(&trace, directory.File("missing/file").c_str()));
  EXPECT_EQ(ENOENT, marrowfin_trace_fire(&trace, 0, 0, 0, 0));
  EXPECT_EQ(ENOENT, marrowfin_trace_close(&trace));
  EXPECT_EQ(0U, trace.records);
}

TEST_F(PlainCTest, AFullDeviceIsReportedAtTheLatestByTheClosing) {
  marrowfin_trace trace;
  ASSERT_EQ(0, marrowfin_trace_open(&trace, "/dev/full"));
  marrowfin_trace_fire(&trace, 0, 0, 0, 0);
  EXPECT_EQ(ENOSPC, marrowfin_trace_close(&trace));
}

TEST_F(PlainCTest, NothingIsWrittenBehindAFailure) {
  marrowfin_trace trace;
  ASSERT_EQ(0, marrowfin_trace_open(&trace, "/dev/full"));
  uint64_t written = 0;
  while (written < 100000 && marrowfin_trace_fire(&trace, written, 0, 0, 0) == 0) {
    ++written;
  }
  EXPECT_LT(written, 100000U);
  EXPECT_EQ(ENOSPC, marrowfin_trace_fire(&trace, written, 0, 0, 0));
  EXPECT_EQ(written, trace.records);
  EXPECT_EQ(ENOSPC, marrowfin_trace_close(&trace));
}

TEST_F(PlainCTest, AClosedTraceTakesNoRecordsAndClosesAgain) {
  marrowfin_trace trace;
  ASSERT_EQ(0, marrowfin_trace_open(&trace, directory.File("trace").c_str()));
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  EXPECT_EQ(EBADF, marrowfin_trace_fire(&trace, 0, 0, 0, 0));
  EXPECT_EQ(0, marrowfin_trace_close(&trace));
}

}  // namespace marrowfin::testing
