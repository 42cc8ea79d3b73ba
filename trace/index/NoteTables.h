#ifndef TRACE_INDEX_NOTETABLES_H
#define TRACE_INDEX_NOTETABLES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "trace/base/NotesFormat.h"
#include "trace/index/CounterTable.h"
#include "trace/index/IndexTables.h"
#include "trace/index/TimeTable.h"

namespace marrowfin {

// What the values of an attribute in a block of notes lie between. Values are compared by keys,
// numbers in the order of the values; of a real that is none nothing is known.
struct NoteColumnSummary {
  uint32_t records = 0;  // that have values
  uint64_t low = 0;      // keys
  uint64_t high = 0;
  uint64_t bits = 0;  // of the values that there are, one each of 64 (BitOf)

  // The key of a value.
  static uint64_t KeyOf(NoteType type, uint64_t value);

  // Spread, since sizes and the like are multiples of powers of two.
  static uint64_t BitOf(uint64_t value) {
    return uint64_t{1} << (value * 0x9E3779B97F4A7C15 >> 58);
  }

  void Add(NoteType type, uint64_t value);

  friend bool operator==(const NoteColumnSummary&, const NoteColumnSummary&) = default;
};

// Of a block of notes, in order of the file.
struct NoteBlockSummary {
  bool known = false;  // it was believed when the index was made; else there are no columns
  std::vector<NoteColumnSummary> columns;  // by attribute; one declared later has no values

  friend bool operator==(const NoteBlockSummary&, const NoteBlockSummary&) = default;
};

// How many records have which value of an attribute over time: of one whose values have names, or
// that has few of them.
//
// The table tells values apart as it tells threads: NONE is the number of records without a value,
// and n that of values[n - 1].
struct NoteTimes {
  static constexpr uint32_t NONE = 0;
  static constexpr size_t MOST_VALUES = TimeTable::THREADS - 1;
  static constexpr size_t CELLS = 4096;

  uint32_t attribute = 0;
  bool isTold = true;            // false where a number has too many values: the rest is empty then
  std::vector<uint64_t> values;  // told apart, in the order in which they came
  TimeTable table = TimeTable(CELLS);

  // Counts a record.
  void Add(NoteType type, uint64_t cycle, uint32_t recordType, std::optional<uint64_t> value);
};

// Where the cells of a counter at a place are kept.
struct CounterSection {
  CounterKey key;
  IndexSection section;
};

// A block of notes or samples that was taken up, by which the file is known again.
struct NoteEntryMark {
  uint64_t offset = 0;
  uint32_t sum = 0;  // its checksum
  friend bool operator==(const NoteEntryMark&, const NoteEntryMark&) = default;
};

// What an index of notes knows, apart from the cells of counters.
struct NoteTables {
  TraceMark trace;
  uint64_t notesSize = 0;
  uint64_t notesModified = 0;  // see FileIdentity
  uint64_t notesChanged = 0;
  uint64_t notesInode = 0;
  std::vector<NoteEntryMark> entries;
  std::vector<NoteBlockSummary> blocks;
  std::vector<NoteTimes> times;  // by attribute; of those that have no such table it tells nothing
  bool countersWhole = true;     // see CounterTable
  std::vector<CounterSection> counters;
};

// The layout of an index of notes, see docs/companion-format.md: magic, sections, directory, and
// the footer of any index. The directory names sections for the tables of `times`, one each.
constexpr uint8_t NOTES_INDEX_MAGIC[8] = {'M', 'F', 'N', 'O', 'T', 'I', 'X', '1'};

std::vector<uint8_t> EncodeNoteTables(const NoteTables& tables,
                                      std::span<const IndexSection> times);

// False where the bytes are no directory of notes of at most so many blocks, or one that
// contradicts itself, or names sections outside the `dataSize` bytes before it. `times` are the
// sections of the tables, which are still empty.
bool DecodeNoteTables(std::span<const uint8_t> bytes, uint64_t dataSize, size_t mostEntries,
                      NoteTables& tables, std::vector<IndexSection>& times);

}  // namespace marrowfin

#endif
