#ifndef TESTS_TRACE_SUPPORT_PACKEDBYTES_H
#define TESTS_TRACE_SUPPORT_PACKEDBYTES_H

#include <gtest/gtest.h>

#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "trace/index/PackedSink.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin::testing {

struct Enclosures {
  std::string about;  // empty for none
  std::string notes;
};

inline std::unique_ptr<PositionedFile> FileOf(const std::string& bytes) {
  return bytes.empty() ? nullptr
                       : MemoryFile(std::vector<uint8_t>(bytes.begin(), bytes.end()), "enclosed");
}

// The packed trace of some bytes, which are handed over in pieces of so many bytes.
inline std::string PackedBytes(const std::string& raw, const PackedSinkOptions& options = {},
                               const Enclosures& enclosures = {}, size_t piece = 1 << 16) {
  MemorySink out;
  PackedSink sink(out, "t.trace", options);
  sink.EncloseAbout(FileOf(enclosures.about));
  sink.EncloseNotes(FileOf(enclosures.notes));
  for (size_t at = 0; at < raw.size(); at += piece) {
    const size_t size = std::min(piece, raw.size() - at);
    const auto* const bytes = reinterpret_cast<const uint8_t*>(raw.data()) + at;
    EXPECT_EQ(sink.Write(bytes, size).taken, size);
  }
  const Fault fault = sink.End();
  EXPECT_FALSE(fault) << fault.Text();
  return {out.Bytes().begin(), out.Bytes().end()};
}

}  // namespace marrowfin::testing

#endif
