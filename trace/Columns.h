#ifndef TRACE_COLUMNS_H
#define TRACE_COLUMNS_H

#include <cstddef>
#include <cstdint>

#include "trace/Place.h"
#include "trace/Record.h"

namespace marrowfin {

// A batch of decoded records, one array per field.
//
// One object per record was rejected: the allocation alone costs more than the decoding. One array
// per word was rejected too: thread and type, and column and row, come out of one shuffle together
// and are written with one store each. The batch is small enough to stay in the first-level cache
// until its user has walked it.
struct Columns {
  static constexpr size_t CAPACITY = 1024;

  struct Tag {
    uint32_t thread;
    uint32_t type;  // a RecordType
  };

  size_t size = 0;      // records in the batch
  size_t switches = 0;  // of them, by type
  size_t sends = 0;
  Place maxFired;            // at least the largest column and row of fires; (0, 0) for none
  Place maxSent;             // and of both ends of sends
  uint64_t firstRecord = 0;  // number of the first of them, counted from 0
  uint64_t firstOffset = 0;  // byte of the trace at which it begins

  size_t Fires() const { return size - switches - sends; }

  // The bytes that the records take in the trace.
  uint64_t Bytes() const { return size * SMALL_RECORD + sends * PLACE_SIZE; }

  // Empties the batch.
  void Clear() {
    size = 0;
    switches = 0;
    sends = 0;
    maxFired = {};
    maxSent = {};
  }

  alignas(64) uint64_t cycle[CAPACITY];
  alignas(64) Tag tag[CAPACITY];
  alignas(64) Place at[CAPACITY];  // where it fired or transmitted, or the sender
  alignas(64) Place to[CAPACITY];  // the receiver; (0, 0) for records that are no sends
};

}  // namespace marrowfin

#endif
