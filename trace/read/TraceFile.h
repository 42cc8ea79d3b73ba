#ifndef TRACE_READ_TRACEFILE_H
#define TRACE_READ_TRACEFILE_H

#include <cstdint>
#include <memory>
#include <string>

#include "trace/base/Result.h"
#include "trace/read/Columns.h"
#include "trace/read/Decode.h"

namespace marrowfin {

// A trace in a plain file, for reading anywhere in it. Pipes and packed files have no such thing:
// they are read from front to back with a Reader.
//
// The file is mapped at the length that it has when it is opened. Where it is truncated later,
// reading the part that went away is a CHANGED fault; a file that replaces it under the same name
// is not seen. Reading from several threads is fine.
class TraceFile {
 public:
  static Result<std::unique_ptr<TraceFile>> Open(const std::string& name);

  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;
  ~TraceFile();

  const std::string& Name() const { return name; }
  uint64_t Size() const { return size; }  // bytes

  // What tells this file from another with the same name.
  struct Identity {
    uint64_t size = 0;
    uint64_t modified = 0;  // when its bytes were last written, nanoseconds since 1970
    uint64_t changed = 0;   // when anything about it was changed, which nobody can set at will
    uint64_t device = 0;
    uint64_t inode = 0;
    friend bool operator==(const Identity&, const Identity&) = default;
  };
  const Identity& GetIdentity() const { return identity; }

  // Replaces `columns` by the records that begin at byte `offset`, which must be where a record
  // begins, as far as they are well-formed and lie whole before byte `limit` (at most Size()), up
  // to the capacity of the batch. Returns the byte behind the last of them. A fault, with no
  // records, where nothing could be decoded before `limit` or the file went away; its record number
  // is left to the caller. Whoever asks for records at or behind `limit` was told of a longer file.
  Result<uint64_t> Decode(uint64_t offset, uint64_t limit, Columns& columns) const;

  // The CHANGED fault of a file that became shorter and has nothing at byte `offset` any more.
  Fault Changed(uint64_t offset) const;

  // A CHANGED fault where the file is no longer what it was when it was opened, as far as its size
  // and its time tell; one that only grew is fine.
  [[nodiscard]] Fault CheckUnchanged() const;

  // Whether nobody has written to the file since it was opened, as far as its size and its time
  // tell.
  bool IsUntouched() const;

  // Copies `length` bytes from byte `offset`; a fault where the file went away.
  [[nodiscard]] Fault Copy(uint64_t offset, size_t length, uint8_t* out) const;

  // The open file, for reading at given positions; it stays the trace's.
  int Descriptor() const { return descriptor; }

  // The mapped bytes. Whoever reads them guards against truncation (BusGuard).
  const uint8_t* Bytes() const { return bytes; }

 private:
  TraceFile(const std::string& name, int descriptor);
  Fault Map();
  bool IsShorter() const;
  Fault MalformedAt(uint64_t offset, uint64_t limit) const;

  std::string name;
  int descriptor;
  const uint8_t* bytes = nullptr;
  uint64_t size = 0;
  Identity identity;
};

}  // namespace marrowfin

#endif
