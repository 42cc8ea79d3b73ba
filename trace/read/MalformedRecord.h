#ifndef TRACE_READ_MALFORMEDRECORD_H
#define TRACE_READ_MALFORMEDRECORD_H

#include <array>
#include <cstdint>
#include <optional>

#include "trace/base/Fault.h"

namespace marrowfin {

// What is wrong with the record at `data`, of which the bytes up to `end` are all that the trace
// has left: an unknown type, a wrong length, a cut. `data` is below `end`, and no well-formed whole
// record stands there.
Fault MalformedRecord(const uint8_t* data, const uint8_t* end);

// The same out of its kind and Fault::numbers, which are
//
// - of CUT_RECORD, the bytes that there are and, where they are a whole header, its type, else 0;
// - of UNKNOWN_TYPE, the type and 0;
// - of WRONG_LENGTH, the type and the length that the record tells.
//
// Nothing where no malformed record has these.
std::optional<Fault> MalformedRecord(Fault::Kind kind, const std::array<uint64_t, 2>& numbers);

}  // namespace marrowfin

#endif
