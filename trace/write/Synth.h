#ifndef TRACE_WRITE_SYNTH_H
#define TRACE_WRITE_SYNTH_H

#include <cstdint>

#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/write/Writer.h"

namespace marrowfin {

// A made-up trace, for tests and measurements that need one of any length. The same options give
// the same bytes on every machine.
struct SynthOptions {
  // PROGRAMS: each thread runs loops of operations that are placed near each other, one loop after
  // another; operations fire in the order of the loop and send to the next one, mostly within the
  // domain, through switches where the message leaves the cluster; phases of plenty alternate with
  // quiet ones. RANDOM: every record is drawn by itself, anywhere on the array.
  enum Mode { PROGRAMS, RANDOM };

  Mode mode = PROGRAMS;
  ArrayShape shape;
  uint64_t records = 1000000;
  uint32_t threads = 4;  // at least 1
  uint64_t seed = 1;
};

// Writes the trace to an open writer. A fault where the writer has one, or where `progress`, which
// counts records, asked to stop; the records so far are written then. Threads: any number may call
// this at a time, each with a writer of its own.
[[nodiscard]] Fault Synthesize(const SynthOptions& options, Writer& writer,
                               const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
