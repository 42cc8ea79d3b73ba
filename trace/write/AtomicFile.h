#ifndef TRACE_WRITE_ATOMICFILE_H
#define TRACE_WRITE_ATOMICFILE_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// How an output meets what has its name already.
struct AtomicFileOptions {
  // Whether somebody chose the name: then a link is followed and the file that it names is
  // replaced, a device, pipe or socket is written directly, a file that may not be written is
  // refused, and a file that is replaced hands its permissions on. Else whatever has the name loses
  // it, a link too: it may have been put there to have some other file overwritten.
  bool chosen = true;

  // The permissions of the file; those of any new file, or of the one that it replaces, otherwise.
  std::optional<mode_t> permissions = {};
};

// A file that is there whole or not at all.
//
// What is written goes to a temporary beside the file, which takes its name when all of it is on
// the disk. Until then a file of that name stays as it was. The temporary goes with this object
// and by RemoveTemporaries. A process that is killed leaves it: it is named after the file
// (FILE.mfpart-XXXXXX) and locked while it is written, and whoever next writes a file of that name
// and finds it unlocked removes it.
//
// Any number may be open at once, each used by one thread at a time.
class AtomicFile : public ByteSink {
 public:
  AtomicFile() = default;
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;
  ~AtomicFile() override;

  // Begins the file `path`, which must not be open. "-" is a name like any other.
  [[nodiscard]] Fault Open(const std::string& path, const AtomicFileOptions& options = {});

  Written Write(const uint8_t* bytes, size_t size) override;
  size_t LargestPiece() const override { return largestPiece; }

  // What is written can be read here, unless it is a device, pipe or socket. It stays this
  // object's.
  int Descriptor() const { return descriptor; }

  // Whether it gets its name by Commit: a device, pipe or socket has it already.
  bool IsPlain() const { return temporary != nullptr; }

  // Ends the file: it is on the disk and has its name when this succeeds.
  [[nodiscard]] Fault Commit();

  // The same; what it hands out is the descriptor, which the caller closes.
  [[nodiscard]] Result<int> CommitAndKeep();

 private:
  struct Temporary;
  friend void RemoveTemporaries();

  Fault OpenChosen(const AtomicFileOptions& options);
  Fault OpenDirectly();
  Fault OpenTemporary(std::optional<mode_t> permissions);
  Fault Finish();
  bool CreateTemporary(mode_t mode);
  bool IsOurs() const;
  bool Fits(size_t count) const;
  Fault Refused(const std::string& action, const std::string& remedy) const;
  void Forget();

  std::string path;    // as the caller gave it
  std::string target;  // with links followed
  std::string temporaryName;
  Temporary* temporary = nullptr;  // null while there is none
  int descriptor = -1;
  size_t largestPiece = 0;
  uint64_t size = 0;
};

// Removes the temporaries of all open files of this process, for a handler of signals that end it:
// a library installs none. Safe to call from one, on any thread.
void RemoveTemporaries();

// Whether both names stand for one file that exists: an output must not replace what it is made
// from.
bool IsSameFile(const std::string& a, const std::string& b);

}  // namespace marrowfin

#endif
