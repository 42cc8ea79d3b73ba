#ifndef TESTS_TRACE_SUPPORT_OPENED_H
#define TESTS_TRACE_SUPPORT_OPENED_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "tests/support/Files.h"
#include "trace/index/Index.h"
#include "trace/read/OpenSource.h"
#include "trace/read/TraceSource.h"

namespace marrowfin::testing {

// The trace in a file that can be opened.
inline std::unique_ptr<TraceFile> OpenTrace(const std::string& name) {
  Result<std::unique_ptr<TraceFile>> trace = TraceFile::Open(name);
  EXPECT_TRUE(trace) << trace.Why().Text();
  return trace ? std::move(trace).Take() : nullptr;
}

// The bytes of a file that can be opened, unpacked where it is packed.
inline std::unique_ptr<ByteSource> OpenInput(const std::string& name) {
  Result<std::unique_ptr<ByteSource>> source = OpenSource(name);
  EXPECT_TRUE(source) << source.Why().Text();
  return source ? std::move(source).Take() : nullptr;
}

// A trace in a file of its own, open and indexed.
struct Opened {
  explicit Opened(const std::string& bytes) {
    WriteFile(name, bytes);
    Reopen();
  }

  void Reopen() {
    Fault fault;
    trace = OpenTrace(name);
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
