#ifndef TRACE_READ_MALFORMEDRECORD_H
#define TRACE_READ_MALFORMEDRECORD_H

#include <cstdint>

#include "trace/base/Fault.h"

namespace marrowfin {

// What is wrong with the record at `data`, of which the bytes up to `end` are all that the trace
// has left: an unknown type, a wrong length, a cut. `data` is below `end`, and no well-formed whole
// record stands there.
Fault MalformedRecord(const uint8_t* data, const uint8_t* end);

}  // namespace marrowfin

#endif
