#ifndef TOOLS_PROGRAM_FRAMES_H
#define TOOLS_PROGRAM_FRAMES_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>

#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/StateCursor.h"
#include "trace/base/ArrayShape.h"

namespace marrowfin {

// The flags of whoever shows many moments of a trace: --from, --to, --every and --cycles.
struct FrameFlags {
  std::optional<uint64_t> from;
  std::optional<uint64_t> to;
  std::optional<uint64_t> every;
  bool cycles = false;

  void Declare(CLI::App& app);
  bool Given() const { return from || to || every || cycles; }

  // A refusal where they name no moments, or steps are asked for that begin at a skip to a cycle
  // while cycles are meant.
  MaybeFailure Check(const std::optional<int>& skipTo) const;
};

// The moments that a trace is shown at, one after the other: steps of the viewer, or cycles with
// every event up to them.
class Frames {
 public:
  Frames(const FrameFlags& flags, uint64_t skipTo, const ArrayShape& shape,
         const IndexedTrace& trace)
      : flags(flags),
        skipTo(skipTo),
        shape(shape),
        trace(trace),
        cursor(*trace.file, *trace.index, shape) {}

  // Finds the first and the last moment. With `most` moments wanted and no --every, they are as far
  // from each other as the range allows.
  MaybeFailure Plan(const Console& console, std::optional<uint64_t> most = {});

  uint64_t Count() const { return count; }

  // Goes to the next of Count moments.
  MaybeFailure Next();

  // Whether an answer failed since the index is damaged, or contradicts its trace: once that is
  // built anew other frames are to be made.
  bool MetDamagedIndex() const { return damagedIndex; }

  // What is to be seen at the moment that was reached.
  const ArrayState& State() const { return cursor.State(); }

 private:
  Result<uint64_t> LastMoment(const Console& console) const;
  Fault Move(uint64_t moment);
  MaybeFailure FailOf(const Fault& met);

  const FrameFlags& flags;
  uint64_t skipTo;
  ArrayShape shape;
  const IndexedTrace& trace;
  StateCursor cursor;
  bool damagedIndex = false;
  uint64_t first = 0;
  uint64_t distance = 1;  // from one moment to the next
  uint64_t count = 0;
  uint64_t done = 0;
};

}  // namespace marrowfin

#endif
