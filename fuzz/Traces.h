#ifndef FUZZ_TRACES_H
#define FUZZ_TRACES_H

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/Fuzz.h"
#include "trace/base/BigEndian.h"
#include "trace/base/Fault.h"
#include "trace/base/Place.h"
#include "trace/base/Record.h"
#include "trace/read/Columns.h"

// Traces as the layout of records tells them, without the library's ways to read them.

namespace marrowfin::fuzz {

struct Event {
  uint64_t cycle;
  uint32_t thread;
  uint32_t type;
  Place at;
  Place to;
  friend bool operator==(const Event&, const Event&) = default;
};

inline void Append(const Columns& columns, std::vector<Event>& events) {
  for (size_t i = 0; i < columns.size; ++i) {
    events.push_back({columns.cycle[i], columns.tag[i].thread, columns.tag[i].type, columns.at[i],
                      columns.to[i]});
  }
}

// What is wrong with the record at `data`, of which the bytes up to `end` are all that is left.
inline Fault::Kind KindOf(const uint8_t* data, const uint8_t* end) {
  const size_t left = static_cast<size_t>(end - data);
  if (left < PAYLOAD_OFFSET) {
    return Fault::CUT_RECORD;
  }
  const uint32_t type = Load32(data + TYPE_OFFSET);
  const uint32_t length = type == SEND_RECORD ? 16 : 8;
  if (type != SWITCH_RECORD && type != FIRE_RECORD && type != SEND_RECORD) {
    return Fault::UNKNOWN_TYPE;
  }
  if (Load32(data + LENGTH_OFFSET) != length) {
    return Fault::WRONG_LENGTH;
  }
  return left < PAYLOAD_OFFSET + length ? Fault::CUT_RECORD : Fault::NONE;
}

inline Event EventAt(const uint8_t* data) {
  const uint8_t* payload = data + PAYLOAD_OFFSET;
  Event event = {Load64(data + CYCLE_OFFSET),
                 Load32(data + THREAD_OFFSET),
                 Load32(data + TYPE_OFFSET),
                 {Load32(payload), Load32(payload + 4)},
                 {}};
  if (event.type == SEND_RECORD) {
    event.to = {Load32(payload + 8), Load32(payload + 12)};
  }
  return event;
}

// A trace that is longer than the input: `copies` of it, up to `enough` bytes, the cycles of each
// `step` above those of the one before.
inline std::vector<uint8_t> Repeat(const uint8_t* data, size_t size, size_t copies, uint64_t step,
                                   size_t enough) {
  std::vector<uint8_t> trace(data, data + size);
  for (size_t copy = 1; copy < copies && trace.size() + size <= enough; ++copy) {
    const size_t begin = trace.size();
    trace.insert(trace.end(), data, data + size);
    for (size_t at = begin; at + SMALL_RECORD <= trace.size();) {
      uint8_t* record = trace.data() + at;
      Store64(record + CYCLE_OFFSET, Load64(record + CYCLE_OFFSET) + step * copy);
      at += RecordSize(Load32(record + TYPE_OFFSET));
    }
  }
  return {trace.begin(), trace.end()};
}

// The same bytes in a file without a name, which was changed long ago: whoever reads it need not
// wait for the clock of file times to go on.
class MemoryFile {
 public:
  MemoryFile(const uint8_t* data, size_t size) : descriptor(memfd_create("trace", MFD_CLOEXEC)) {
    Require(descriptor != -1 && write(descriptor, data, size) == static_cast<ssize_t>(size),
            "memory for a file");
    const struct timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
    Require(futimens(descriptor, times) == 0, "a time of change");
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { close(descriptor); }

  std::string Name() const { return "/proc/self/fd/" + std::to_string(descriptor); }

 private:
  int descriptor;
};

}  // namespace marrowfin::fuzz

#endif
