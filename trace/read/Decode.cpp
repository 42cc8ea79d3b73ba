#include "trace/read/Decode.h"

#include <algorithm>
#include <atomic>

#include "trace/base/BigEndian.h"

namespace marrowfin {

namespace {

// Alone, so that no order with other memory is needed.
std::atomic<bool> avx2Allowed = true;

void Raise(Place& most, Place place) {
  most.column = std::max(most.column, place.column);
  most.row = std::max(most.row, place.row);
}

}  // namespace

const uint8_t* DecodePortable(const uint8_t* data, const uint8_t* end, Columns& columns) {
  size_t n = columns.size;
  while (n < Columns::CAPACITY && static_cast<size_t>(end - data) >= SMALL_RECORD) {
    const uint32_t type = Load32(data + TYPE_OFFSET);
    if (!IsRecordType(type) || Load32(data + LENGTH_OFFSET) != PayloadSize(type) ||
        static_cast<size_t>(end - data) < RecordSize(type)) {
      break;
    }
    const bool send = type == SEND_RECORD;
    const uint64_t cycle = Load64(data + CYCLE_OFFSET);
    const uint64_t before = n > 0 ? columns.cycle[n - 1] : cycle;
    const uint8_t* payload = data + PAYLOAD_OFFSET;
    const Place at = {Load32(payload), Load32(payload + 4)};
    const Place to = send ? Place{Load32(payload + 8), Load32(payload + 12)} : Place{};
    columns.cycle[n] = cycle;
    columns.tag[n] = {Load32(data + THREAD_OFFSET), type};
    columns.at[n] = at;
    columns.to[n] = to;
    ++n;
    columns.changes += cycle != before;
    columns.fell |= cycle < before;
    columns.switches += type == SWITCH_RECORD;
    columns.sends += send;
    if (type == SWITCH_RECORD) {
      const Place apart = {at.column - FIRST_SWITCH, at.row - FIRST_SWITCH};
      Raise(columns.maxSwitched, apart);
      columns.switchedBits.column |= apart.column;
      columns.switchedBits.row |= apart.row;
    } else if (send) {
      Raise(columns.maxSent, at);
      Raise(columns.maxSent, to);
    } else {
      Raise(columns.maxFired, at);
    }
    data += RecordSize(type);
  }
  columns.size = n;
  return data;
}

bool HasAvx2() {
#if defined(__x86_64__)
  static const bool has = __builtin_cpu_supports("avx2");
  return has && avx2Allowed.load(std::memory_order_relaxed);
#else
  return false;
#endif
}

void AllowAvx2(bool allowed) { avx2Allowed.store(allowed, std::memory_order_relaxed); }

const uint8_t* DecodeBest(const uint8_t* data, const uint8_t* end, Columns& columns) {
  if (HasAvx2()) {
    data = DecodeAvx2(data, end, columns);
  }
  return DecodePortable(data, end, columns);
}

}  // namespace marrowfin
