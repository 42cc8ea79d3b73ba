#ifndef TRACE_EDIT_RUNREADER_H
#define TRACE_EDIT_RUNREADER_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "trace/base/Fault.h"
#include "trace/edit/SortRun.h"

namespace marrowfin {

// A run that was put aside: where it stands in a scratch file.
struct StoredRun {
  uint64_t offset = 0;
  uint64_t bytes = 0;
};

// Reads such a run from front to back through a buffer. One thread at a time.
class RunReader {
 public:
  RunReader(int descriptor, const StoredRun& run, bool noted, size_t buffer);

  // Goes to the first or the next record. False at the end, and where a fault was met.
  [[nodiscard]] bool Next();
  const Fault& GetFault() const { return fault; }

  const SortedRecord& Record() const { return record; }
  const NotedTail& Tail() const { return tail; }
  std::span<const NotedValue> Notes() const { return values; }

 private:
  bool Read(void* bytes, size_t size);

  const int descriptor;
  const bool noted;
  uint64_t next;  // byte of the file behind the buffer
  const uint64_t end;
  std::vector<uint8_t> buffer;
  size_t begin = 0;  // in the buffer, of what was not read yet
  size_t filled = 0;
  SortedRecord record = {};
  NotedTail tail = {};
  std::vector<NotedValue> values;
  Fault fault;
};

}  // namespace marrowfin

#endif
