#ifndef TRACE_READ_COLUMNS_H
#define TRACE_READ_COLUMNS_H

#include <cstddef>
#include <cstdint>

#include "trace/base/Place.h"
#include "trace/base/Record.h"

namespace marrowfin {

// A batch of decoded records, one array per field.
//
// One object per record was rejected: the allocation alone costs more than the decoding. One array
// per word was rejected too: thread and type, and column and row, come out of one shuffle together
// and are written with one store each. The batch takes a quarter of a small first-level
// cache, so that it stays there until its user has walked it, beside the bytes that are decoded.
//
// What the whole batch amounts to is gathered without a branch per record: whoever learns from it
// that something is wrong looks again, slowly, for the record at fault. Threads: a value, which one
// thread writes or any number read.
struct Columns {
  static constexpr size_t CAPACITY = 256;

  struct Tag {
    uint32_t thread;
    uint32_t type;  // a RecordType
  };

  size_t size = 0;      // records in the batch
  size_t switches = 0;  // of them, by type
  size_t sends = 0;
  size_t changes = 0;        // records whose cycle is not that of the record before in the batch
  bool fell = false;         // whether the cycle of any is below that of the record before
  Place maxFired;            // at least the largest column and row of fires; (0, 0) for none
  Place maxSent;             // and of both ends of sends
  Place maxSwitched;         // and of switches, counted from the place of the first switch
  Place switchedBits;        // at least the bits that are set in any place of a switch, likewise
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
    changes = 0;
    fell = false;
    maxFired = {};
    maxSent = {};
    maxSwitched = {};
    switchedBits = {};
  }

  alignas(64) uint64_t cycle[CAPACITY];
  alignas(64) Tag tag[CAPACITY];
  alignas(64) Place at[CAPACITY];  // where it fired or transmitted, or the sender
  alignas(64) Place to[CAPACITY];  // the receiver; (0, 0) for records that are no sends
};

}  // namespace marrowfin

#endif
