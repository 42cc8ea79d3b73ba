#ifndef TRACE_BASE_PROGRESS_H
#define TRACE_BASE_PROGRESS_H

#include <cstdint>
#include <functional>

namespace marrowfin {

// How far long work is. Threads: a value, which one thread writes or any number read.
struct Progress {
  enum Unit { BYTES, RECORDS };

  uint64_t done = 0;
  uint64_t all = 0;  // 0 where unknown
  Unit unit = BYTES;
};

// Is told of it, one call at a time; false stops the work, which then ends with a CANCELLED fault.
// It is called in the thread that asked for the work, where nothing else is said.
using ProgressCallback = std::function<bool(const Progress&)>;

}  // namespace marrowfin

#endif
