#ifndef TRACE_WRITE_NOTESWRITER_H
#define TRACE_WRITE_NOTESWRITER_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Fingerprint.h"
#include "trace/base/NotesFormat.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

class ByteWriter;

// Writes the notes that stand beside a trace, as docs/companion-format.md lays them out.
//
// It is told of each record after the trace's writer was; Note then says something of that record.
// A block that is full is written when the next record comes: until then the trace must have been
// flushed, so that notes never tell of records that it does not have (IsFull). After a fault
// nothing more is written. One thread at a time.
class NotesWriter {
 public:
  // `sink` stays the caller's and outlives the writer or its Close.
  explicit NotesWriter(ByteSink& sink, NotesPacking packing = NotesPacking::ZSTD);
  NotesWriter(const NotesWriter&) = delete;
  NotesWriter& operator=(const NotesWriter&) = delete;

  // Declares an attribute, a name of one of its values, or a counter, before it is used. Returns
  // its number. At most NOTES_MOST_ATTRIBUTES and NOTES_MOST_COUNTERS, names that differ; no name
  // is empty, and names and units are UTF-8: readers refuse others (Recorder looks after that).
  // All declarations take at most NOTES_LARGEST_BODY bytes: names of values beyond are left out,
  // and such values are shown as numbers.
  uint32_t Attribute(std::string_view name, NoteType type, std::string_view unit = "");
  void NameValue(uint32_t attribute, uint64_t value, std::string_view name);
  uint32_t Counter(std::string_view name, std::string_view unit = "");

  // Whether the next record ends a block.
  bool IsFull() const { return cycles.size() == BLOCK_RECORDS || values >= BLOCK_VALUES; }

  // The trace has one more record; `to` counts for messages only.
  void Record(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to);

  // A value of an attribute of the last record. A second one replaces the first, but for the type
  // RECORDS, of whose values a record has any number. False, and nothing is noted, where there was
  // no record since the last flush, or a value of the type RECORDS is no earlier record, or there
  // are a million values of one record.
  bool Note(uint32_t attribute, uint64_t value);
  bool Note(uint32_t attribute, double value);

  // A sample of a counter that was declared.
  void Sample(const CounterSample& sample);

  // Writes all that it was told. The first fault, if there was one.
  [[nodiscard]] Fault Flush();

  // Flushes, and writes the table that ends the file. The first fault, if there was one.
  [[nodiscard]] Fault Close();

  uint64_t Size() const { return size; }  // bytes written

 private:
  static constexpr size_t BLOCK_RECORDS = 65536;
  static constexpr size_t BLOCK_SAMPLES = 65536;
  static constexpr size_t BLOCK_VALUES = 512 << 10;  // more are of the last record alone
  static constexpr size_t MOST_VALUES = 1 << 20;     // which fit into a block, whatever they are

  void Put(const uint8_t* bytes, size_t count);
  void WriteBlock(NotesBlockKind kind, const std::vector<uint8_t>& body, bool mayPack);
  void Declare(const ByteWriter& entry);
  void WriteDeclarations();
  void WriteNotes();
  void WriteSamples();
  void WriteTable();
  void PutColumn(const NoteColumn& column, ByteWriter& body) const;
  void PutValues(const NoteColumn& column, ByteWriter& body) const;

  ByteSink& sink;
  NotesPacking packing;
  std::vector<NoteType> types;        // of the attributes
  std::vector<NoteColumn> columns;    // of the block, by attribute
  std::vector<uint8_t> declarations;  // not written yet
  size_t declared = 0;                // bytes, written or not
  uint32_t counters = 0;
  uint64_t first = 0;            // record of the block
  std::vector<uint64_t> cycles;  // of its records
  size_t values = 0;             // in all columns
  Fingerprint print;
  std::vector<CounterSample> samples;
  std::vector<NotesEntry> entries;
  uint64_t size = 0;
  Fault fault;
};

}  // namespace marrowfin

#endif
