#ifndef TRACE_BASE_FINGERPRINT_H
#define TRACE_BASE_FINGERPRINT_H

#include <bit>
#include <cstdint>

#include "trace/base/Place.h"
#include "trace/base/Record.h"

namespace marrowfin {

// A number by which a sequence of records is recognised, as docs/companion-format.md defines it.
// Computed from fields and not from bytes: whoever records has them at hand, and a checksum of the
// bytes would cost several times as much. Threads: a value, which one thread writes or any number
// read.
class Fingerprint {
 public:
  // Adds a record; `to` counts for messages only.
  void Add(uint32_t type, uint64_t cycle, uint32_t thread, Place at, Place to) {
    Mix(cycle);
    Mix(static_cast<uint64_t>(type) << 32 | thread);
    Mix(static_cast<uint64_t>(at.column) << 32 | at.row);
    if (type == SEND_RECORD) {
      Mix(static_cast<uint64_t>(to.column) << 32 | to.row);
    }
  }

  uint64_t Value() const { return value; }

 private:
  void Mix(uint64_t word) { value = std::rotl(value ^ word, 29) * 0x9E3779B97F4A7C15; }

  uint64_t value = 0xCBF29CE484222325;
};

}  // namespace marrowfin

#endif
