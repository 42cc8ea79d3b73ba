#include "measure/EqualRun.h"

#include <algorithm>

#include "measure/SameBytes.h"

namespace marrowfin {

// Moves both walks over the whole records of the next `length` bytes. Returns how many bytes they
// take.
uint64_t EqualRun::Decode(uint64_t length, const Take& take) {
  const uint64_t begin = a.Offset();
  uint64_t offset = begin;
  uint64_t record = a.Record();
  uint64_t cycle = a.LastCycle();
  // Short of the end of the trace, what may be no whole record is left to the walks.
  const uint64_t least = begin + length == a.Trace().Size() ? 1 : LARGE_RECORD;
  while (begin + length - offset >= least) {
    const Result<uint64_t> next = a.Trace().Decode(offset, begin + length, *columns);
    if (!next) {
      break;
    }
    columns->firstRecord = record;
    take(*columns);
    record += columns->size;
    cycle = columns->cycle[columns->size - 1];
    offset = *next;
  }
  if (offset > begin) {
    b.MoveTo(b.Offset() + (offset - begin), b.Record() + (record - a.Record()), cycle);
    a.MoveTo(offset, record, cycle);
  }
  return offset - begin;
}

Fault EqualRun::Pass(const Take& take, const GoOn& goOn) {
  while (a.Offset() >= differsAt) {
    const uint64_t left = std::min(a.Trace().Size() - a.Offset(), b.Trace().Size() - b.Offset());
    const uint64_t length = std::min(BLOCK, left);
    const Result<uint64_t> same = SameBytes(a.Trace(), a.Offset(), b.Trace(), b.Offset(), length);
    if (!same) {
      return same.Why();
    }
    const uint64_t begin = a.Offset();
    const bool worthIt = *same >= LEAST || *same == left;
    if (!worthIt || Decode(*same, take) == 0) {
      differsAt = begin + std::max<uint64_t>(*same, 1);
      return {};
    }
    if (*same < length) {
      differsAt = begin + *same;
      return {};
    }
    if (!goOn()) {
      return {};
    }
  }
  return {};
}

}  // namespace marrowfin
