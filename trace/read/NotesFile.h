#ifndef TRACE_READ_NOTESFILE_H
#define TRACE_READ_NOTESFILE_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/NotesFormat.h"
#include "trace/base/Result.h"
#include "trace/read/NotesDeclarations.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

// The notes of a trace, block by block. What is said of records is not compared with the trace
// here: whoever joins the two does (NotesOfTrace).
//
// Opening reads the table at the end of the file, or the head of every block where there is none:
// after a run that was killed, or while one goes on. Memory follows the number of blocks.
//
// Reading from several threads is fine once the file is open; Follow needs it for itself.
class NotesFile {
 public:
  // The name of the notes beside a trace.
  static std::string NameBeside(const std::string& trace) { return trace + ".notes"; }

  // A fault where there is no such file, or it holds no notes at all. Notes that are cut or damaged
  // further on are opened up to there, which End tells.
  [[nodiscard]] static Result<std::unique_ptr<NotesFile>> Open(const std::string& name);
  [[nodiscard]] static Result<std::unique_ptr<NotesFile>> Open(
      std::unique_ptr<PositionedFile> file);

  const std::string& Name() const { return file->Name(); }
  const PositionedFile& File() const { return *file; }

  const NoteDeclarations& Declarations() const { return declarations.Get(); }

  // The blocks, in order of the file. Those of notes ascend by record and do not overlap; records
  // between them have no notes.
  std::span<const NotesEntry> Blocks() const { return entries; }

  // The record behind the last one that a block is about.
  uint64_t Records() const { return records; }

  // Why there are no blocks behind the last one: no fault where the file ends there; CUT_NOTES
  // where it ends within a block, as it does while a run goes on or where it was killed;
  // DAMAGED_NOTES where what follows is no block.
  const Fault& End() const { return end; }

  // Takes up the blocks that were written since. A fault where the file was replaced or became
  // shorter; all stays as it was then.
  [[nodiscard]] Fault Follow();

  // The same where `now` is the file as it is now, wherever it is.
  [[nodiscard]] Fault Follow(std::unique_ptr<PositionedFile> now);

  // The block of notes that Blocks()[number] tells of. Cycles are still differences
  // (ResolveCycles). Where it is damaged, blocks behind it may be whole.
  [[nodiscard]] Result<NotesBlock> Notes(size_t number) const;

  // The samples of the block that Blocks()[number] tells of.
  [[nodiscard]] Result<std::vector<CounterSample>> Samples(size_t number) const;

  // The DAMAGED_NOTES fault of the block at a byte, which tells what is done without it.
  Fault Damaged(uint64_t offset, const std::string& reason, const std::string& remedy) const;

  // The OTHER_TRACE fault of notes one of whose blocks is not of the trace's records.
  Fault OtherTrace(const NotesEntry& entry, const std::string& reason) const;

 private:
  explicit NotesFile(std::unique_ptr<PositionedFile> file) : file(std::move(file)) {}

  bool TakeTable();
  void TakeBlocks(uint64_t offset);
  std::string TakeBody(uint8_t kind, std::span<const uint8_t> body);
  struct Block;
  Fault Damaged(uint64_t offset, const std::string& reason) const;
  Result<Block> BlockAt(uint64_t offset) const;
  Result<Block> BlockAt(const NotesEntry& entry) const;

  std::unique_ptr<PositionedFile> file;
  NotesDeclarations declarations;
  std::vector<NotesEntry> entries;
  uint64_t records = 0;
  uint64_t next = 0;  // the byte behind the last block that was taken up
  Fault end;
};

}  // namespace marrowfin

#endif
