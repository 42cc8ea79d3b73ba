#ifndef TRACE_READ_OPENSOURCE_H
#define TRACE_READ_OPENSOURCE_H

#include <memory>
#include <string>

#include "trace/base/Result.h"
#include "trace/read/ByteSource.h"

namespace marrowfin {

// Opens a file or a FIFO and looks at its first bytes: gzip and zstd data are unpacked on the way.
// "-" is the name of a file like any other. Threads: any number may call these at a time.
[[nodiscard]] Result<std::unique_ptr<ByteSource>> OpenSource(const std::string& name);

// The same on a descriptor, which is closed with the source; `name` is for messages.
[[nodiscard]] Result<std::unique_ptr<ByteSource>> OpenSource(int descriptor,
                                                             const std::string& name);

}  // namespace marrowfin

#endif
