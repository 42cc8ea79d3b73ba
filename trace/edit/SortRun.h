#ifndef TRACE_EDIT_SORTRUN_H
#define TRACE_EDIT_SORTRUN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Place.h"
#include "trace/edit/RecordFeed.h"

namespace marrowfin {

// Records that fit into memory, put in order, and how they stand in a scratch file: each as a
// SortedRecord, in a trace with notes followed by a NotedTail and as many bytes of notes.

// A record of fixed size, so that gathering and merging copy without looking.
struct SortedRecord {
  uint64_t cycle;
  uint32_t thread;
  uint32_t type;
  Place at;
  Place to;
};

struct NotedTail {
  uint64_t number;  // of the record in the trace that is sorted
  uint64_t notes;   // bytes of them, a multiple of 8
};

// A value of an attribute, of which the notes of a record are a sequence.
struct NotedValue {
  uint64_t attribute;
  uint64_t value;
};

// Records that came one after another. One thread at a time.
class SortRun {
 public:
  // Takes at most about so many bytes of memory, all of which are had now but for those of notes.
  SortRun(size_t memory, bool noted);

  // Takes from the feed until there is room for no other batch, or the feed ends: false then.
  bool Fill(RecordFeed& feed, uint64_t firstNumber);

  size_t Size() const { return records.size(); }
  uint64_t Bytes() const;

  // Puts the records in order of their cycles; of equal ones as they came.
  void Sort();

  // The records in order, once they are sorted, and what is noted of each.
  const SortedRecord& Record(size_t i) const { return records[At(i)]; }
  NotedTail Tail(size_t i) const;
  std::span<const NotedValue> Notes(size_t i) const;

  // Writes them in order to a scratch file, Bytes() from `offset` on.
  [[nodiscard]] Fault Write(int descriptor, uint64_t offset) const;

 private:
  void Add(const Columns& columns, std::span<const NoteValues* const> notes);
  bool IsFull() const;
  void SortByDigit(uint32_t shift, uint32_t bits);
  size_t At(size_t i) const { return inOrder ? i : static_cast<size_t>(keys[i] & mask); }

  const bool noted;
  size_t capacity = 0;  // records
  size_t valueCapacity = 0;
  std::vector<SortedRecord> records;
  std::vector<NotedValue> values;  // of all records
  std::vector<size_t> valueEnds;   // of each record
  uint64_t first = 0;              // number of the first record
  std::vector<uint64_t> keys;      // once sorted: which record comes when, in the lowest bits
  std::vector<uint64_t> scratch;
  uint64_t mask = 0;
  bool inOrder = false;
};

}  // namespace marrowfin

#endif
