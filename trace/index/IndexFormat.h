#ifndef TRACE_INDEX_INDEXFORMAT_H
#define TRACE_INDEX_INDEXFORMAT_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "trace/index/Index.h"
#include "trace/index/TimeTable.h"

namespace marrowfin {

// The layout of an index file, see docs/index-format.md: magic, sections, directory, footer.
constexpr uint8_t INDEX_MAGIC[8] = {'M', 'F', 'I', 'N', 'D', 'E', 'X', '2'};
constexpr uint8_t INDEX_FOOTER_MAGIC[8] = {'M', 'F', 'I', 'N', 'D', 'E', 'X', 'E'};
constexpr size_t INDEX_FOOTER = 8 + 8 + 8 + 4 + 4 + 8;

// Where the directory lies, and a checksum of all bytes before the footer. Sections have checksums
// of their own; this one tells damage when the file is opened, while the index can still be built
// anew.
struct IndexFooter {
  IndexSection directory;
  uint32_t sum = 0;
};

// What the directory holds.
struct IndexDirectory {
  uint64_t traceSize = 0;      // of the trace when it was indexed
  uint64_t traceModified = 0;  // its times, see FileIdentity
  uint64_t traceChanged = 0;
  uint64_t traceInode = 0;
  uint32_t traceEdges = 0;  // checksum of its first and last bytes
  Summary summary;
  Summary atLastBoundary;
  bool complete = true;
  uint64_t stride = 0;
  std::vector<IndexEntry> entries;
  std::vector<IndexBoundary> boundaries;
  IndexSection times;         // the time table of the records before the last boundary
  IndexSection furtherTimes;  // and of those behind it
};

std::vector<uint8_t> EncodeDirectory(const IndexDirectory& directory);

// The bytes that the directory of a trace of `traceSize` bytes takes at most.
uint64_t LargestDirectory(uint64_t traceSize);

// False where the bytes are no directory, or one that contradicts itself: counts that do not add
// up, tables that do not ascend, sections outside the `dataSize` bytes before the directory. What
// passes can be used unchecked and costs no more memory than an index of a trace of that size.
bool DecodeDirectory(std::span<const uint8_t> bytes, uint64_t dataSize, IndexDirectory& directory);

// The time table of the records that a summary tells of; nothing where the bytes are no table, or
// one that contradicts the summary.
std::optional<TimeTable> DecodeTimes(std::span<const uint8_t> bytes, const Summary& summary);

// The time table of all records, from that of those before the last boundary and the bytes of that
// of the others; nothing where it contradicts the summary of all, or the tables each other.
std::optional<TimeTable> DecodeFurtherTimes(TimeTable times, std::span<const uint8_t> bytes,
                                            const Summary& summary);

void EncodeFooter(const IndexFooter& footer, uint8_t* bytes);

// False where the bytes are no footer.
bool DecodeFooter(const uint8_t* bytes, IndexFooter& footer);

}  // namespace marrowfin

#endif
