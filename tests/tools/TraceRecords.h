#ifndef TESTS_TOOLS_TRACERECORDS_H
#define TESTS_TOOLS_TRACERECORDS_H

#include <cstdint>
#include <string>
#include <vector>

namespace marrowfin {

// A record as a reader sees it that shares no code with the program.
struct TraceRecord {
  uint32_t type;
  uint64_t cycle;
  uint32_t thread;
  std::vector<uint32_t> words;  // column, row; twice for a message

  bool operator==(const TraceRecord&) const = default;
};

// Splits a trace into its records. Throws std::runtime_error with the offset where the bytes are no
// whole record of a kind that the viewer takes.
std::vector<TraceRecord> RecordsIn(const std::string& bytes);

// The same records as the trace tool reads them from a file.
std::vector<TraceRecord> RecordsThroughTraceTool(const std::string& path);

}  // namespace marrowfin

#endif
