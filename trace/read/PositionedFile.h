#ifndef TRACE_READ_POSITIONEDFILE_H
#define TRACE_READ_POSITIONEDFILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

// What tells a file from another with the same name.
struct FileIdentity {
  uint64_t size = 0;
  uint64_t modified = 0;  // when its bytes were last written, nanoseconds since 1970
  uint64_t changed = 0;   // when anything about it was changed, which nobody can set at will
  uint64_t device = 0;
  uint64_t inode = 0;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// Some bytes of a file, from byte `offset` on, which stay as long as anyone holds them.
struct FileBlock {
  uint64_t offset = 0;
  size_t size = 0;
  const uint8_t* bytes = nullptr;
  std::shared_ptr<const void> holder = {};

  uint64_t End() const { return offset + size; }
};

// What one file may hold besides the trace.
enum class Enclosure { INDEX, ABOUT, NOTES };

class PositionedFile;

// The CHANGED fault of a file that became shorter and has nothing at byte `offset` any more.
Fault BecameShorter(const PositionedFile& file, uint64_t offset);

// Bytes that can be read at any place, as often as one likes: a plain file, memory, and whatever
// else can tell its size and deliver a piece of itself. Nothing above asks for a descriptor.
//
// All of it may be asked from several threads at a time.
class PositionedFile {
 public:
  PositionedFile(const PositionedFile&) = delete;
  PositionedFile& operator=(const PositionedFile&) = delete;
  virtual ~PositionedFile() = default;

  const std::string& Name() const { return name; }

  // What the file was when it was opened. Its size is that of what can be read, also where the file
  // has grown since.
  const FileIdentity& Identity() const { return identity; }
  uint64_t Size() const { return identity.size; }

  // What the file is now. A SYSTEM fault where that cannot be told.
  [[nodiscard]] virtual Result<FileIdentity> Now() const = 0;

  // Copies `length` bytes from byte `offset`. A CHANGED fault where the file has no such bytes, or
  // no longer, a SYSTEM fault where the system refuses to read them.
  [[nodiscard]] virtual Fault ReadAt(uint64_t offset, size_t length, uint8_t* out) const = 0;

  // All bytes at once; null for files that have no such view of themselves. They may go away
  // (BusGuard), and whoever reads some of them says so first.
  virtual const uint8_t* View() const { return nullptr; }
  virtual void AboutToRead(uint64_t /*offset*/) const {}

  // Whether the file is made of blocks that are at hand a piece at a time, such as packed ones; and
  // a piece that holds byte `offset`, with FILE_BLOCK_AHEAD bytes behind it or all that its block
  // has. Of a trace, no well-formed record lies in two blocks. The fault of one that cannot be had.
  // Nobody holds a piece when the file goes.
  static constexpr size_t FILE_BLOCK_AHEAD = 9216;  // a batch of the largest records
  virtual bool HasBlocks() const { return false; }
  [[nodiscard]] virtual Result<FileBlock> BlockAt(uint64_t offset) const {
    return BecameShorter(*this, offset);
  }

  // What lies in the same file beside this; null where there is nothing of the kind.
  virtual std::unique_ptr<PositionedFile> Enclosed(Enclosure /*what*/) const { return nullptr; }

  // Whom besides its owner the file may be read and written by, as the bits of a Unix mode.
  virtual uint32_t Permissions() const { return 0; }

 protected:
  PositionedFile(std::string name, const FileIdentity& identity)
      : name(std::move(name)), identity(identity) {}

  std::string name;
  FileIdentity identity;
};

// Opens a plain file: a SYSTEM fault for what is a folder, a pipe or a device, or cannot be opened.
// With MAPPED it has a view, where the process has the addresses for it: on 64-bit machines all but
// always. READ never takes any, and is for files of which little is read.
enum class PlainAccess { READ, MAPPED };
[[nodiscard]] Result<std::unique_ptr<PositionedFile>> OpenPlainFile(const std::string& name,
                                                                    PlainAccess access);

// The same on a descriptor, which is closed with the file, also where that cannot be had.
[[nodiscard]] Result<std::unique_ptr<PositionedFile>> OpenPlainFile(int descriptor,
                                                                    const std::string& name,
                                                                    PlainAccess access);

// A file in memory, which owns its bytes; or bytes that must outlive it. `name` is for messages.
std::unique_ptr<PositionedFile> MemoryFile(std::vector<uint8_t> bytes, const std::string& name);
std::unique_ptr<PositionedFile> MemoryFile(std::span<const uint8_t> bytes, const std::string& name);

}  // namespace marrowfin

#endif
