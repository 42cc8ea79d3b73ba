#ifndef TESTS_TRACE_SUPPORT_OPENED_H
#define TESTS_TRACE_SUPPORT_OPENED_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Files.h"
#include "tests/trace/support/PackedBytes.h"
#include "trace/index/Index.h"
#include "trace/read/OpenSource.h"
#include "trace/read/TraceSource.h"

namespace marrowfin::testing {

// Whether a call met no fault; says which one it met.
inline ::testing::AssertionResult IsFine(const Fault& fault) {
  return fault ? ::testing::AssertionFailure() << fault.Text() : ::testing::AssertionSuccess();
}

// The same of a call that brings a value, which is put into `value`.
template <class T>
::testing::AssertionResult Take(Result<T> result, T& value) {
  if (result) {
    value = std::move(result).Take();
  }
  return IsFine(result.Why());
}

// What a call made, which must not have failed; null where it did.
template <class T>
std::unique_ptr<T> Made(Result<std::unique_ptr<T>> result) {
  EXPECT_TRUE(IsFine(result.Why()));
  return result ? std::move(result).Take() : nullptr;
}

// The trace in a file that can be opened: mapped, read through a window, from memory or packed, as
// MARROWFIN_TEST_SOURCE says. What becomes of the file is of no concern to a trace in memory, nor
// to one that was packed.
inline std::unique_ptr<TraceSource> OpenTrace(const std::string& name) {
  const char* const variable = getenv("MARROWFIN_TEST_SOURCE");
  const std::string source = variable == nullptr ? "" : variable;
  if (source == "MEMORY" || source == "PACKED") {
    const std::string raw = ReadFile(name);
    const std::string bytes = source == "PACKED" ? PackedBytes(raw) : raw;
    return Made(
        TraceSource::Over(MemoryFile(std::vector<uint8_t>(bytes.begin(), bytes.end()), name)));
  }
  return Made(
      TraceSource::Open(name, source == "WINDOW" ? PlainAccess::READ : PlainAccess::MAPPED));
}

// The bytes of a file that can be opened, unpacked where it is packed.
inline std::unique_ptr<ByteSource> OpenInput(const std::string& name) {
  return Made(OpenSource(name));
}

// The index of a trace that can be indexed.
inline std::unique_ptr<Index> OpenIndex(const TraceSource& trace,
                                        const ProgressCallback& progress = {}) {
  return Made(Index::Open(trace, progress));
}

// A trace in a file of its own, open and indexed.
struct Opened {
  explicit Opened(const std::string& bytes) {
    WriteFile(name, bytes);
    Reopen();
  }

  void Reopen() {
    trace = OpenTrace(name);
    index = OpenIndex(*trace);
  }

  TempDir folder;
  std::string name = folder.File("t.trace");
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
};

}  // namespace marrowfin::testing

#endif
