#ifndef TESTS_TRACE_SUPPORT_OPENED_H
#define TESTS_TRACE_SUPPORT_OPENED_H

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/support/Files.h"
#include "trace/index/Index.h"
#include "trace/read/TraceFile.h"

namespace marrowfin::testing {

// A trace in a file of its own, open and indexed.
struct Opened {
  explicit Opened(const std::string& bytes) {
    WriteFile(name, bytes);
    Reopen();
  }

  void Reopen() {
    Fault fault;
    trace = TraceFile::Open(name, fault);
    EXPECT_FALSE(fault) << fault.Text();
    index = Index::Open(*trace, {}, fault);
    EXPECT_FALSE(fault) << fault.Text();
  }

  TempDir folder;
  std::string name = folder.File("t.trace");
  std::unique_ptr<TraceFile> trace;
  std::unique_ptr<Index> index;
};

}  // namespace marrowfin::testing

#endif
