#ifndef TRACE_INDEX_INDEXSTORE_H
#define TRACE_INDEX_INDEXSTORE_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/read/PositionedFile.h"

namespace marrowfin {

// The bytes of an index while it is made. Whoever lets go of a draft without committing it leaves
// nothing behind. One thread at a time.
class IndexDraft {
 public:
  virtual ~IndexDraft() = default;

  // Adds bytes behind those there are. After a fault the draft is of no use any more.
  [[nodiscard]] virtual Fault Append(std::span<const uint8_t> bytes) = 0;
  virtual uint64_t Size() const = 0;

  // What is there so far, for reading at any time and in any thread, whatever becomes of the draft.
  [[nodiscard]] virtual Result<std::unique_ptr<PositionedFile>> Written() const = 0;

  // Ends the draft and keeps its bytes, from now on as the store's index. Returns them for reading;
  // their name is empty where they go away with whoever reads them.
  [[nodiscard]] virtual Result<std::unique_ptr<PositionedFile>> Commit() = 0;

  // Why the index cannot be kept in the best place of the store; no fault where it can.
  virtual Fault Refusal() const { return {}; }
};

// Where the index of one trace is kept. One thread at a time; the drafts and files it hands out
// may be used in others, also when it is gone.
class IndexStore {
 public:
  virtual ~IndexStore() = default;

  // What is kept, the best place first; each may be anything, until somebody has looked at it.
  virtual std::vector<std::unique_ptr<PositionedFile>> Find() const = 0;

  // Begins a new index.
  [[nodiscard]] virtual Result<std::unique_ptr<IndexDraft>> Create() = 0;
};

// Keeps the index in memory, where there are no files. It is lost with the store.
std::unique_ptr<IndexStore> IndexInMemory();

// Keeps the index of `trace` in files: beside it (TRACE.mfindex) or, where that cannot be written,
// in the cache folder ($XDG_CACHE_HOME/marrowfin or ~/.cache/marrowfin), or in a file without a
// name (in $TMPDIR or /tmp). A draft that does not find room in one of them goes on in the next.
// An index that is packed with the trace is found behind these. `trace` outlives the store.
// Beside devices and the files of /proc nothing is put: what a name such as /dev/stdin stands for
// counts instead.
std::unique_ptr<IndexStore> IndexFilesOf(const PositionedFile& trace);

// Keeps the index in a file without a name (in $TMPDIR or /tmp), which goes away with who reads it.
std::unique_ptr<IndexStore> IndexWithoutName();

// Keeps it in one file, and nowhere else; `permissions` are those of the trace: whom it is not open
// to learns nothing from its index.
std::unique_ptr<IndexStore> IndexFileAt(const std::string& file, uint32_t permissions);

}  // namespace marrowfin

#endif
