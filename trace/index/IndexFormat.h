#ifndef TRACE_INDEX_INDEXFORMAT_H
#define TRACE_INDEX_INDEXFORMAT_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "trace/index/IndexTables.h"
#include "trace/index/TimeTable.h"

namespace marrowfin {

// The layout of an index file, see docs/index-format.md: magic, sections, directory, footer.
constexpr uint8_t INDEX_MAGIC[8] = {'M', 'F', 'I', 'N', 'D', 'E', 'X', '3'};
constexpr uint8_t INDEX_FOOTER_MAGIC[8] = {'M', 'F', 'I', 'N', 'D', 'E', 'X', 'E'};
constexpr size_t INDEX_FOOTER = 8 + 8 + 8 + 4 + 8;

// The directory, which holds the tables.
std::vector<uint8_t> EncodeDirectory(const IndexTables& tables);

// The bytes that the directory of a trace of `traceSize` bytes takes at most.
uint64_t LargestDirectory(uint64_t traceSize);

// False where the bytes are no directory, or one that contradicts itself: counts that do not add
// up, tables that do not ascend, sections outside the `dataSize` bytes before the directory. What
// passes can be used unchecked and costs no more memory than an index of a trace of that size.
bool DecodeDirectory(std::span<const uint8_t> bytes, uint64_t dataSize, IndexTables& tables);

// The time table of the records that a summary tells of; nothing where the bytes are no table, or
// one that contradicts the summary.
std::optional<TimeTable> DecodeTimes(std::span<const uint8_t> bytes, const Summary& summary);

// The time table of all records, from that of those before the last boundary and the bytes of that
// of the others; nothing where it contradicts the summary of all, or the tables each other.
std::optional<TimeTable> DecodeFurtherTimes(TimeTable times, std::span<const uint8_t> bytes,
                                            const Summary& summary);

// The footer, which tells where the directory lies.
void EncodeFooter(const IndexSection& directory, uint8_t* bytes);

// False where the bytes are no footer.
bool DecodeFooter(const uint8_t* bytes, IndexSection& directory);

// The byte behind all sections that boundaries name: those of an index that is extended stay.
uint64_t EndOfSections(const IndexTables& tables);

}  // namespace marrowfin

#endif
