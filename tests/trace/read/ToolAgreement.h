#ifndef TESTS_TRACE_READ_TOOLAGREEMENT_H
#define TESTS_TRACE_READ_TOOLAGREEMENT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "tests/support/Files.h"

namespace marrowfin::testing {

// How far the trace tool got; what it leaves behind where it ends the process.
struct ToolProgress {
  enum End { ABORTED, CUT, ENDED };

  uint64_t records = 0;
  uint64_t offset = 0;           // behind the last of them
  uint64_t firstDifference = 0;  // number of the first record that is not the expected one
  End end = ABORTED;
};

// Reads a trace by the trace tool of the common library and by each reader of the trace engine, and
// fails the test unless they deliver the same and stop at the same place. Returns how the trace
// tool ended, which takes a record at a time, by five system calls, and ends the process at a
// malformed one: what it delivers is the reference.
ToolProgress::End ExpectAllReadersAgree(const std::string& name);

class TraceToolTest : public ::testing::Test {
 protected:
  void ExpectWholeTraceIsReadAlike(const std::string& name) {
    SCOPED_TRACE(name);
    EXPECT_EQ(ExpectAllReadersAgree(name), ToolProgress::ENDED);
    EXPECT_GT(std::filesystem::file_size(name), 0U);
  }

  ToolProgress::End ExpectBytesAreReadAlike(const std::string& bytes) {
    WriteFile(Trace(), bytes);
    return ExpectAllReadersAgree(Trace());
  }

  std::string Trace() const { return folder.File("t.trace"); }

  TempDir folder;
};

}  // namespace marrowfin::testing

#endif
