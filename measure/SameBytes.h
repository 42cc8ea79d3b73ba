#ifndef MEASURE_SAMEBYTES_H
#define MEASURE_SAMEBYTES_H

#include <cstdint>

#include "trace/base/Result.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How many bytes in a row are the same, at most `length`, from byte `inA` of one trace and byte
// `inB` of another on. Both have so many. A fault where a file went away. Threads: any number may
// call it at a time.
[[nodiscard]] Result<uint64_t> SameBytes(const TraceSource& a, uint64_t inA, const TraceSource& b,
                                         uint64_t inB, uint64_t length);

}  // namespace marrowfin

#endif
