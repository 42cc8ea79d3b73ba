#ifndef TRACE_BASE_RECORD_H
#define TRACE_BASE_RECORD_H

#include <cstddef>
#include <cstdint>

namespace marrowfin {

// The record of a trace, as docs/trace-format.md lays it out. All numbers are most significant byte
// first: type (4 bytes), cycle (8), thread (4), payload length (4), payload. The types are the
// class codes of Core/VisTool.h, on which the engine does not stand: a test holds the two together.
// Threads: constants, and functions that any number may call at a time.
enum RecordType : uint32_t {
  SWITCH_RECORD = 2,  // a network switch transmitted; payload: column, row
  FIRE_RECORD = 3,    // a processing element fired; payload: column, row
  SEND_RECORD = 4,    // a message was sent; payload: column, row of the sender, of the receiver
};

constexpr size_t TYPE_OFFSET = 0;
constexpr size_t CYCLE_OFFSET = 4;
constexpr size_t THREAD_OFFSET = 12;
constexpr size_t LENGTH_OFFSET = 16;
constexpr size_t PAYLOAD_OFFSET = 20;

constexpr size_t PLACE_SIZE = 8;                              // a column and a row
constexpr size_t SMALL_RECORD = PAYLOAD_OFFSET + PLACE_SIZE;  // fires and switch transmissions
constexpr size_t LARGE_RECORD = SMALL_RECORD + PLACE_SIZE;    // sends

// The switch of a cluster is filed this many rows and columns from the cluster's first position,
// whatever the cluster's size.
constexpr uint32_t FIRST_SWITCH = 4;

constexpr size_t RECORD_TYPES = 3;

constexpr bool IsRecordType(uint32_t type) { return type >= SWITCH_RECORD && type <= SEND_RECORD; }

// Bytes of a whole record of a known type.
constexpr size_t RecordSize(uint32_t type) {
  return type == SEND_RECORD ? LARGE_RECORD : SMALL_RECORD;
}

// Bytes of the payload of a known type.
constexpr uint32_t PayloadSize(uint32_t type) {
  return static_cast<uint32_t>(RecordSize(type) - PAYLOAD_OFFSET);
}

}  // namespace marrowfin

#endif
