#ifndef TRACE_EDIT_SCRATCHFILE_H
#define TRACE_EDIT_SCRATCHFILE_H

#include <cstddef>
#include <cstdint>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"

namespace marrowfin {

// Files without a name for what does not fit into memory, in $TMPDIR or /tmp; they go away with the
// process, however it ends. Faults name the folder and say how to have it elsewhere. Threads: any
// number may read and write one at a time, in places that do not overlap.

// A descriptor, which the caller closes.
[[nodiscard]] Result<int> OpenScratchFile();

[[nodiscard]] Fault WriteScratch(int descriptor, uint64_t offset, const void* bytes, size_t size);

// Bytes behind the end are zeros.
[[nodiscard]] Fault ReadScratch(int descriptor, uint64_t offset, void* bytes, size_t size);

}  // namespace marrowfin

#endif
