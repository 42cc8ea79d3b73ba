#ifndef TRACE_DECODE_H
#define TRACE_DECODE_H

#include <cstddef>
#include <cstdint>

#include "trace/Columns.h"

namespace marrowfin {

// Decodes well-formed whole records from the bytes at `data` up to `end` and appends them to
// `columns` until it is full. Returns the first byte that it did not decode: what stands there is a
// malformed record, the beginning of one that `end` cuts, or nothing; which, is for the caller to
// find out.
typedef const uint8_t* DecodeFunction(const uint8_t* data, const uint8_t* end, Columns& columns);

DecodeFunction DecodePortable;

// For processors with AVX2. Reads no byte at or after `end` either, so it leaves the last records
// of a piece to DecodePortable.
DecodeFunction DecodeAvx2;

// The fastest of the above that this processor runs, for all records of the piece.
DecodeFunction DecodeBest;

bool HasAvx2();

}  // namespace marrowfin

#endif
