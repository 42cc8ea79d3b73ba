#include "trace/edit/RunReader.h"

#include <algorithm>
#include <cstring>

#include "trace/edit/ScratchFile.h"

namespace marrowfin {

RunReader::RunReader(int descriptor, const StoredRun& run, bool noted, size_t buffer)
    : descriptor(descriptor),
      noted(noted),
      next(run.offset),
      end(run.offset + run.bytes),
      buffer(buffer) {}

bool RunReader::Read(void* bytes, size_t size) {
  auto* to = static_cast<uint8_t*>(bytes);
  while (size > 0) {
    if (begin == filled) {
      begin = 0;
      filled = static_cast<size_t>(std::min<uint64_t>(buffer.size(), end - next));
      fault = ReadScratch(descriptor, next, buffer.data(), filled);
      next += filled;
      if (fault || filled == 0) {
        return false;
      }
    }
    const size_t taken = std::min(size, filled - begin);
    memcpy(to, buffer.data() + begin, taken);
    begin += taken;
    to += taken;
    size -= taken;
  }
  return true;
}

bool RunReader::Next() {
  if (!noted && filled - begin >= sizeof(record)) {
    memcpy(&record, buffer.data() + begin, sizeof(record));
    begin += sizeof(record);
    return true;
  }
  if (!Read(&record, sizeof(record))) {
    return false;
  }
  if (!noted) {
    return true;
  }
  if (!Read(&tail, sizeof(tail))) {
    return false;
  }
  values.resize(static_cast<size_t>(tail.notes / sizeof(NotedValue)));
  return Read(values.data(), static_cast<size_t>(tail.notes));
}

}  // namespace marrowfin
