#ifndef TRACE_BASE_BIGENDIAN_H
#define TRACE_BASE_BIGENDIAN_H

#include <cstdint>
#include <cstring>

#include "Util/ByteOrder.h"

namespace marrowfin {

// Numbers of a trace at any address.
inline uint32_t Load32(const uint8_t* bytes) {
  uint32 value;
  memcpy(&value, bytes, sizeof(value));
  return TraceToHost(value);
}

inline uint64_t Load64(const uint8_t* bytes) {
  Cycle value;
  memcpy(&value, bytes, sizeof(value));
  return TraceToHost(value);
}

inline void Store32(uint8_t* bytes, uint32_t value) {
  const uint32 stored = HostToTrace(static_cast<uint32>(value));
  memcpy(bytes, &stored, sizeof(stored));
}

inline void Store64(uint8_t* bytes, uint64_t value) {
  const Cycle stored = HostToTrace(static_cast<Cycle>(value));
  memcpy(bytes, &stored, sizeof(stored));
}

}  // namespace marrowfin

#endif
