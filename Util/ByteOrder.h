#ifndef UTIL_BYTEORDER_H
#define UTIL_BYTEORDER_H

#include <bit>

#include "Util/Types.h"

// The one place that knows the byte order of traces: most significant byte first on every host.
// HOST is the order of the machine that the program runs on; tests name the other one too.
template <std::endian HOST = std::endian::native>
constexpr uint32 HostToTrace(uint32 value) {
  return HOST == std::endian::big ? value : __builtin_bswap32(value);
}
template <std::endian HOST = std::endian::native>
constexpr Cycle HostToTrace(Cycle value) {
  return HOST == std::endian::big ? value : __builtin_bswap64(value);
}

// The same exchange of bytes the other way.
template <std::endian HOST = std::endian::native>
constexpr uint32 TraceToHost(uint32 value) {
  return HostToTrace<HOST>(value);
}
template <std::endian HOST = std::endian::native>
constexpr Cycle TraceToHost(Cycle value) {
  return HostToTrace<HOST>(value);
}

#endif
