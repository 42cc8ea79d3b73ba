#ifndef UTIL_BYTEORDER_H
#define UTIL_BYTEORDER_H

#include <endian.h>

#include "Util/Types.h"

// The one place that knows the byte order of traces: most significant byte first on every host.
inline uint32 HostToTrace(uint32 value) { return htobe32(value); }
inline Cycle HostToTrace(Cycle value) { return htobe64(value); }
inline uint32 TraceToHost(uint32 value) { return be32toh(value); }
inline Cycle TraceToHost(Cycle value) { return be64toh(value); }

#endif
