#ifndef TRACE_INDEXWRITER_H
#define TRACE_INDEXWRITER_H

#include <cstdint>
#include <span>
#include <string>

#include "trace/Fault.h"
#include "trace/Index.h"
#include "trace/IndexFormat.h"

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

  // Begins to write what shall be `file`; an empty name stands for an unnamed file that goes away
  // with its descriptor.
  bool Open(const std::string& file, Fault& fault);

  // Packs and appends a section. After a failed write nothing more is written, and Commit fails.
  IndexSection Append(std::span<const uint8_t> raw);

  // Copies the sections of an older index, so that those of its boundaries stay valid.
  bool CopyData(int from, uint64_t size);

  // Writes the directory, makes it durable and gives the file its name. Returns a descriptor for
  // reading, which the caller closes, or -1 with `fault` set.
  int Commit(const IndexDirectory& directory, Fault& fault);

  uint64_t Size() const { return size; }

 private:
  void Put(const uint8_t* bytes, size_t count);
  void OpenTemporary();
  void RemoveLeftovers(const std::string& file);

  std::string file;
  std::string temporary;
  int descriptor = -1;
  uint64_t size = 0;
  Fault failure;
};

}  // namespace marrowfin

#endif
