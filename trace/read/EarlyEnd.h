#ifndef TRACE_READ_EARLYEND_H
#define TRACE_READ_EARLYEND_H

#include <cstdint>

#include "trace/base/Fault.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// Why notes end before a trace of so many records does; no fault where they reach its end. Those of
// a run that was stopped between two blocks are sound as far as they go. Threads: any number may
// call it at a time.
Fault EarlyEndOf(const NotesFile& notes, uint64_t records);

}  // namespace marrowfin

#endif
