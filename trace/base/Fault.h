#ifndef TRACE_BASE_FAULT_H
#define TRACE_BASE_FAULT_H

#include <array>
#include <cstdint>
#include <string>

namespace marrowfin {

// What is wrong with a trace, as a value: the library neither prints nor throws nor aborts.
// Threads: a value, which one thread writes or any number read.
struct [[nodiscard]] Fault {
  // Their numbers stand in index files: a new kind gets the next one, and none gets another.
  enum Kind {
    NONE = 0,
    CUT_RECORD = 1,      // the trace ends inside a record
    UNKNOWN_TYPE = 2,    // a record's type is none of 2, 3 and 4
    WRONG_LENGTH = 3,    // a record's payload length is not that of its type
    FALLING_CYCLE = 4,   // a record's cycle is below that of the record before it
    OUTSIDE_ARRAY = 5,   // a location is none of the array that was given
    DAMAGED_INPUT = 6,   // compressed input does not unpack
    CHANGED = 7,         // the file was truncated or replaced while it was read
    SYSTEM = 8,          // the operating system refused something
    OUT_OF_RANGE = 9,    // the trace has nothing of what was asked for
    CANCELLED = 10,      // the caller's callback asked to stop
    REFUSED_INPUT = 11,  // input of another format cannot be converted; the reason tells where
    CUT_NOTES = 12,      // the notes beside a trace end inside a block
    DAMAGED_NOTES = 13,  // what stands beside a trace is not what stands in its format
    OTHER_TRACE = 14,    // what stands beside a trace is about another one
    FAR_END = 15,  // an end of a message is outside the array, as it may be: no fault of the trace
    DAMAGED_INDEX = 16,  // the index is damaged or contradicts its trace: it is to be built anew
  };

  Kind kind = NONE;
  std::string file;     // as the caller named it
  uint64_t offset = 0;  // of the first byte of the record at fault, in the unpacked trace
  uint64_t record = 0;  // its number, counted from 0
  std::string reason;   // what is wrong, without a full stop
  std::string remedy;   // what a user can do, without a full stop; may be empty

  // What the reason tells of a malformed record in numbers, from which MalformedRecord makes it
  // again; 0 for others.
  std::array<uint64_t, 2> numbers = {};

  explicit operator bool() const { return kind != NONE; }

  // "FILE: record N at byte OFFSET: REASON; REMEDY", or without the place where the fault has none.
  std::string Text() const;
};

// A short lower-case name of the kind, for machines: "cut-record".
const char* FaultName(Fault::Kind kind);

// A fault of the operating system with the text of `errorNumber`.
Fault SystemFault(const std::string& file, const std::string& action, int errorNumber);

// The fault of work on `file` that the caller's callback asked to stop.
Fault CancelledFault(const std::string& file);

}  // namespace marrowfin

#endif
