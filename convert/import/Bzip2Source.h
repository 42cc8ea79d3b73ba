#ifndef CONVERT_IMPORT_BZIP2SOURCE_H
#define CONVERT_IMPORT_BZIP2SOURCE_H

#include <memory>
#include <string>

#include "trace/read/ByteSource.h"

namespace marrowfin {

// What `bytes` delivers, unpacked where it begins as bzip2 does, all of its streams one after
// another. Data that does not unpack, or ends early, is a DAMAGED_INPUT fault behind all bytes that
// could be unpacked. `name` is for messages. Traces themselves are never packed so: only importers
// meet it, and the trace engine goes without another library.
std::unique_ptr<ByteSource> UnpackBzip2(std::unique_ptr<ByteSource> bytes, const std::string& name);

}  // namespace marrowfin

#endif
