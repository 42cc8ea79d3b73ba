#ifndef TRACE_READ_TRACESOURCE_H
#define TRACE_READ_TRACESOURCE_H

#include <cstdint>
#include <memory>
#include <string>

#include "trace/base/Result.h"
#include "trace/read/Columns.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

class BlockWindow;

// A trace that can be read anywhere in it, wherever its bytes are: what an index and all questions
// ask. Pipes and files packed by gzip or zstd have no such thing: they are read from front to back
// with a Reader. A packed trace (MfzFile) has one: its blocks are unpacked as they are asked for.
//
// Of a file that has a view of itself records are decoded where they lie; any other is read in
// blocks of 256 KiB, a few of which are kept. The trace has the length that its file has when
// it is opened. Where the file is truncated later, reading the part that went away is a CHANGED
// fault; a file that replaces it under the same name is not seen. Reading from several threads is
// fine.
class TraceSource {
 public:
  // Opens a plain file, which may be a packed trace.
  [[nodiscard]] static Result<std::unique_ptr<TraceSource>> Open(
      const std::string& name, PlainAccess access = PlainAccess::MAPPED);

  // Refuses data packed by gzip or zstd with a SYSTEM fault, as Open does.
  [[nodiscard]] static Result<std::unique_ptr<TraceSource>> Over(
      std::unique_ptr<PositionedFile> file);

  TraceSource(const TraceSource&) = delete;
  TraceSource& operator=(const TraceSource&) = delete;
  ~TraceSource();

  const std::string& Name() const { return file->Name(); }
  uint64_t Size() const { return size; }  // bytes
  const FileIdentity& GetIdentity() const { return file->Identity(); }
  const PositionedFile& File() const { return *file; }

  // Replaces `columns` by the records that begin at byte `offset`, which must be where a record
  // begins, as far as they are well-formed and lie whole before byte `limit` (at most Size()), up
  // to the capacity of the batch. Returns the byte behind the last of them. A fault, with no
  // records, where nothing could be decoded before `limit` or the file went away; its record number
  // is left to the caller. Whoever asks for records at or behind `limit` was told of a longer file.
  [[nodiscard]] Result<uint64_t> Decode(uint64_t offset, uint64_t limit, Columns& columns) const;

  // Copies `length` bytes from byte `offset`; a fault where the file went away.
  [[nodiscard]] Fault Copy(uint64_t offset, size_t length, uint8_t* out) const {
    return file->ReadAt(offset, length, out);
  }

  // The CHANGED fault of a file that became shorter and has nothing at byte `offset` any more.
  Fault Changed(uint64_t offset) const { return BecameShorter(*file, offset); }

  // A CHANGED fault where the file is no longer what it was when it was opened, as far as its size
  // and its time tell; one that only grew is fine.
  [[nodiscard]] Fault CheckUnchanged() const;

  // Whether nobody has written to the file since it was opened, as far as its size and its time
  // tell.
  bool IsUntouched() const;

  // All bytes, where the file has a view of itself, else null. Whoever reads them guards against
  // truncation (BusGuard).
  const uint8_t* Bytes() const { return view; }

 private:
  explicit TraceSource(std::unique_ptr<PositionedFile> file);

  // The bytes of the trace from `begin` to `end` that are at hand.
  struct Shown {
    const uint8_t* bytes;
    uint64_t begin;
    uint64_t end;
  };
  Result<uint64_t> DecodeFrom(const Shown& shown, uint64_t offset, uint64_t limit,
                              Columns& columns) const;
  bool IsShorter() const;
  Fault MalformedAt(uint64_t offset, uint64_t limit) const;

  std::unique_ptr<PositionedFile> file;
  uint64_t size;
  const uint8_t* view;
  std::unique_ptr<BlockWindow> window;  // where there is no view
};

}  // namespace marrowfin

#endif
