#ifndef TRACE_ASK_NOTESOFTRACE_H
#define TRACE_ASK_NOTESOFTRACE_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "trace/ask/NoteValues.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/index/NoteTables.h"
#include "trace/read/NotesFile.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The notes of a trace joined to its records: believed only where the records are those that they
// were written about. Each block is compared once, when it is needed first, which takes reading its
// records; what was used last is kept unpacked, within CAPACITY and MOST_KEPT.
//
// Notes that are not believed are as if they were not there, but that it is told (Refused). Where
// one block is of other records all of them are those of another trace; one that is damaged is left
// out alone, since what stands behind it is compared as well. Notes of records that come behind
// those that were indexed are left for later where the trace has grown.
//
// One thread at a time, each with one of its own; trace, index and notes must outlive it. The notes
// may have followed a run between two calls.
class NotesOfTrace {
 public:
  static constexpr size_t CAPACITY = 32 << 20;  // bytes that are kept unpacked, but for one block

  // Blocks that are kept unpacked, which are searched one after another: bytes alone would let in
  // hundreds of thousands of those of a recorder that flushes once a cycle.
  static constexpr size_t MOST_KEPT = 64;

  NotesOfTrace(const TraceSource& trace, const Index& index, const NotesFile& notes);
  NotesOfTrace(const NotesOfTrace&) = delete;
  NotesOfTrace& operator=(const NotesOfTrace&) = delete;

  // Goes on with the same trace as it is now, and an index of that: what was compared stays so.
  void Follow(const TraceSource& now, const Index& itsIndex);

  // What an index tells of the blocks (NotesIndex), which must outlive its use here; null for none.
  void Know(const NoteTables* of) { tables = of; }
  const NoteBlockSummary* Known(size_t block) const {
    return tables != nullptr && block < tables->blocks.size() ? &tables->blocks[block] : nullptr;
  }

  const NotesFile& File() const { return notes; }
  const NoteDeclarations& Declarations() const { return notes.Declarations(); }

  // The values that an attribute has for each record of a selection, cycles as cycles; good until
  // the next call for that attribute. One that is not declared has none. A fault where the trace
  // cannot be read or changed.
  [[nodiscard]] Result<const NoteValues*> Of(const Selection& found, uint32_t attribute);

  // What was not believed so far, the first of it: no fault where all was. OTHER_TRACE where none
  // of the notes is believed any more.
  const Fault& Refused() const { return refused; }

  // The blocks of notes, by number from 0 on; ascending by record.
  size_t Blocks();
  const NotesEntry& Entry(size_t block) { return notes.Blocks()[numbers[block]]; }

  // The first block that ends behind a record; Blocks() where there is none.
  size_t BlockAt(uint64_t record);

  // A block that was compared, cycles still as differences; null where it is not believed. Good
  // until the next call for another block.
  [[nodiscard]] Result<const NotesBlock*> Block(size_t block);

  // How many blocks are kept unpacked just now.
  size_t Kept() const { return kept.size(); }

 private:
  struct Verdict {
    enum { OPEN, COMPARED, REFUSED } state = OPEN;
    uint64_t print = 0;  // of the trace's records
  };

  struct Unpacked {
    size_t block;
    size_t size;
    NotesBlock notes;
  };

  bool IsWithinTrace(size_t block);
  const NotesBlock* Find(size_t block);
  const NotesBlock* Keep(size_t block, NotesBlock read);
  Result<bool> IsOfTrace(size_t block, const NotesBlock& read);
  Result<uint64_t> PrintOf(const NotesEntry& entry) const;
  const NotesBlock* Refuse(size_t block, const Fault& fault);
  bool RefusesAll() const { return refused.kind == Fault::OTHER_TRACE; }
  void AddFrom(const NotesBlock& block, uint32_t attribute, const Selection& found, size_t from,
               size_t to, NoteValues& values) const;

  const TraceSource* trace;
  const Index* index;
  const NotesFile& notes;
  const NoteTables* tables = nullptr;
  std::vector<size_t> numbers;  // of the blocks, in the file
  size_t looked = 0;            // entries of the file that were taken up
  std::vector<Verdict> verdicts;
  Fault refused;
  std::list<Unpacked> kept;  // the one used last in front
  size_t size = 0;           // bytes of them
  std::vector<NoteValues> joined;
};

}  // namespace marrowfin

#endif
