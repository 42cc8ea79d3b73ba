#ifndef TRACE_READ_UNPACKEDTRACE_H
#define TRACE_READ_UNPACKEDTRACE_H

#include <memory>
#include <string>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// A trace that can be read anywhere in it, of a file that may be packed.
struct UnpackedTrace {
  std::unique_ptr<TraceSource> trace;

  // Whether it was packed. Then `trace` has the name of the packed file and bytes of its own.
  bool packed = false;
};

// Opens a plain file as it is, or a packed trace. One that is packed (gzip, zstd) is unpacked into
// a file without a name in $TMPDIR, else /tmp, which needs room for all of it and goes away with
// the trace.
//
// A SYSTEM fault for what is no plain file, such as a pipe: what can be read once and from front to
// back only is to be copied first. DAMAGED_INPUT where it does not unpack. `progress` counts bytes
// of the packed file. Threads: any number may call it at a time.
[[nodiscard]] Result<UnpackedTrace> OpenUnpacked(const std::string& name,
                                                 const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
