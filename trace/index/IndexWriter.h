#ifndef TRACE_INDEX_INDEXWRITER_H
#define TRACE_INDEX_INDEXWRITER_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <span>
#include <string>

#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/index/IndexFormat.h"

namespace marrowfin {

// An index file while it is written: a temporary beside the final name, which replaces the file of
// that name only when it is whole. A process that is killed leaves the temporary; it is named after
// the file, locked while it is written, and the next run that finds it unlocked removes it.
class IndexWriter {
 public:
  IndexWriter() = default;
  IndexWriter(const IndexWriter&) = delete;
  IndexWriter& operator=(const IndexWriter&) = delete;

  // Removes the temporary, unless it was committed.
  ~IndexWriter();

  // Begins to write what shall be `file`, which those may read whom `permissions` (of the trace)
  // allow it; an empty name stands for an unnamed file that goes away with its descriptor.
  [[nodiscard]] Fault Open(const std::string& file, mode_t permissions);

  // Packs and appends a section. After a failed write nothing more is written, and Commit fails.
  IndexSection Append(std::span<const uint8_t> raw);

  // Whether a write failed, so that what follows is in vain. May be asked while another thread
  // appends.
  bool Failed() const { return failed; }

  // Copies the sections of an older index, so that those of its boundaries stay valid.
  bool CopyData(int from, uint64_t size);

  // Writes the directory, makes it durable and gives the file its name. Returns a descriptor for
  // reading, which the caller closes.
  Result<int> Commit(const IndexDirectory& directory);

  uint64_t Size() const { return size; }

 private:
  void Put(const uint8_t* bytes, size_t count);
  bool Write(const uint8_t* bytes, size_t count);
  void OpenTemporary(mode_t permissions);
  bool IsOurs() const;
  void RemoveLeftovers();

  std::string file;
  std::string shownName;  // for messages
  std::string temporary;
  int descriptor = -1;
  uint64_t size = 0;
  uint32_t sum = 0;  // checksum of the bytes so far
  Fault failure;
  std::atomic<bool> failed = false;
};

}  // namespace marrowfin

#endif
