#ifndef TRACE_EDIT_COPYTRACE_H
#define TRACE_EDIT_COPYTRACE_H

#include <cstdint>
#include <memory>
#include <string>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/read/ByteSource.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Makes what can be read from front to back only a trace that can be read anywhere: copies its
// first `most` bytes, or all there are, into a file without a name in $TMPDIR or /tmp, which goes
// away with the trace. `name` is what messages call it, and where its companion is looked for.
// `progress` counts bytes of the source. Threads: any number may call it at a time.
[[nodiscard]] Result<std::unique_ptr<TraceSource>> CopyTrace(ByteSource& source,
                                                             const std::string& name, uint64_t most,
                                                             const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
