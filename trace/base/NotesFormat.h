#ifndef TRACE_BASE_NOTESFORMAT_H
#define TRACE_BASE_NOTESFORMAT_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "trace/base/Place.h"

namespace marrowfin {

// The notes that stand beside a trace, as docs/companion-format.md lays them out: the constants,
// and what the blocks of the file hold once they are unpacked.

// Threads: values, which one thread writes or any number read.
constexpr uint8_t NOTES_MAGIC[8] = {'M', 'F', 'N', 'O', 'T', 'E', 'S', '1'};
constexpr uint8_t NOTES_TABLE_MAGIC[8] = {'M', 'F', 'N', 'O', 'T', 'E', 'S', 'E'};
constexpr size_t NOTES_BLOCK_HEAD = 16;
constexpr size_t NOTES_TABLE_TAIL = 16;

// Of a block, unpacked.
constexpr uint32_t NOTES_LARGEST_BODY = 16 << 20;
constexpr uint32_t NOTES_MOST_RECORDS = 65536;
constexpr uint32_t NOTES_MOST_SAMPLES = 65536;
constexpr uint32_t NOTES_MOST_ATTRIBUTES = 32;
constexpr uint32_t NOTES_MOST_COUNTERS = 65536;

enum class NotesBlockKind : uint8_t { DECLARATIONS = 1, NOTES = 2, SAMPLES = 3, TABLE = 4 };
enum class NotesPacking : uint8_t { NONE = 0, ZSTD = 1 };

// What the value of an attribute is.
enum class NoteType : uint8_t {
  NUMBER = 1,
  REAL = 2,     // a double; handed around as its bits
  CYCLE = 3,    // a cycle, mostly before that of the event
  NAME = 4,     // a number that has a name
  RECORDS = 5,  // numbers of earlier records; the only type of which an event has several values
};

// Names of attributes that readers know.
constexpr std::string_view KIND_ATTRIBUTE = "kind";
constexpr std::string_view PACKET_ATTRIBUTE = "packet";
constexpr std::string_view CREATED_ATTRIBUTE = "created";
constexpr std::string_view SIZE_ATTRIBUTE = "size";
constexpr std::string_view CONSUMES_ATTRIBUTE = "consumes";
constexpr std::string_view PRODUCED_BY_ATTRIBUTE = "produced_by";

struct NoteAttribute {
  NoteType type = NoteType::NUMBER;
  std::string name;
  std::string unit;                       // may be empty
  std::map<uint64_t, std::string> names;  // of values, for NAME

  friend bool operator==(const NoteAttribute&, const NoteAttribute&) = default;
};

struct NoteCounter {
  std::string name;
  std::string unit;

  friend bool operator==(const NoteCounter&, const NoteCounter&) = default;
};

// What the notes of a trace can tell; attributes and counters by their numbers.
struct NoteDeclarations {
  std::vector<NoteAttribute> attributes;
  std::vector<NoteCounter> counters;

  // The number of the attribute or counter of that name.
  std::optional<uint32_t> Attribute(std::string_view name) const {
    return NumberOf(attributes, name);
  }
  std::optional<uint32_t> Counter(std::string_view name) const { return NumberOf(counters, name); }

  friend bool operator==(const NoteDeclarations&, const NoteDeclarations&) = default;

 private:
  template <class Named>
  static std::optional<uint32_t> NumberOf(const std::vector<Named>& all, std::string_view name) {
    for (uint32_t number = 0; number < all.size(); ++number) {
      if (all[number].name == name) {
        return number;
      }
    }
    return std::nullopt;
  }
};

// The values of an attribute in a block, in order of the records that have them.
struct NoteColumn {
  uint32_t attribute = 0;
  std::vector<uint32_t> positions;  // of the records, counted from the first of the block
  std::vector<uint64_t> values;

  friend bool operator==(const NoteColumn&, const NoteColumn&) = default;
};

// What a block tells of `count` records from record `first` on.
struct NotesBlock {
  uint64_t first = 0;
  uint32_t count = 0;
  uint64_t fingerprint = 0;         // of these records
  std::vector<NoteColumn> columns;  // at most one of each attribute

  friend bool operator==(const NotesBlock&, const NotesBlock&) = default;
};

// A value that a counter has at a place from a cycle on.
struct CounterSample {
  uint64_t cycle = 0;
  uint32_t counter = 0;
  Place at;
  double value = 0;

  friend bool operator==(const CounterSample&, const CounterSample&) = default;
};

// Where a block of notes or samples stands.
struct NotesEntry {
  NotesBlockKind kind = NotesBlockKind::NOTES;
  uint64_t offset = 0;
  uint64_t low = 0;   // of notes the first record, of samples the lowest cycle
  uint64_t high = 0;  // of notes the record behind the last, of samples the highest cycle

  friend bool operator==(const NotesEntry&, const NotesEntry&) = default;
};

}  // namespace marrowfin

#endif
