#ifndef TRACE_READ_DECODE_H
#define TRACE_READ_DECODE_H

#include <cstddef>
#include <cstdint>

#include "trace/read/Columns.h"

namespace marrowfin {

// Decodes well-formed whole records from the bytes at `data` up to `end` and appends them to
// `columns` until it is full. Returns the first byte that it did not decode: what stands there is a
// malformed record, the beginning of one that `end` cuts, or nothing; which, is for the caller to
// find out. Threads: any number may call these at a time.
typedef const uint8_t* DecodeFunction(const uint8_t* data, const uint8_t* end, Columns& columns);

DecodeFunction DecodePortable;

// For processors with AVX2. Reads no byte at or after `end` either, so it leaves the last records
// of a piece to DecodePortable.
DecodeFunction DecodeAvx2;

// The fastest of the above that HasAvx2 leaves, for all records of the piece.
DecodeFunction DecodeBest;

// Whether this processor runs DecodeAvx2 and it is not ruled out.
bool HasAvx2();

// Rules everything that is made for AVX2 out, or in again, for the whole process: whether a result
// changes tells whether a fault is to be looked for there. Any thread may call it at any time;
// batches that are being decoded are finished as they were begun.
void AllowAvx2(bool allowed);

}  // namespace marrowfin

#endif
