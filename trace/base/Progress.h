#ifndef TRACE_BASE_PROGRESS_H
#define TRACE_BASE_PROGRESS_H

#include <cstdint>
#include <functional>

namespace marrowfin {

// Reports how far long work is, with bytes done and in all (0 where unknown); false stops it.
typedef std::function<bool(uint64_t done, uint64_t all)> ProgressCallback;

}  // namespace marrowfin

#endif
