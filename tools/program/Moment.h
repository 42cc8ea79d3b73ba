#ifndef TOOLS_PROGRAM_MOMENT_H
#define TOOLS_PROGRAM_MOMENT_H

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>

#include "tools/program/Failure.h"
#include "tools/program/Subcommand.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/ArrayState.h"
#include "trace/base/ArrayShape.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// What the subcommands that tell or show a moment of a trace share.

// The flags --step, --cycle and -F.
struct MomentFlags {
  std::optional<uint64_t> step;
  std::optional<uint64_t> cycle;
  std::optional<int> skipTo;

  void Declare(CLI::App& app);

  // A refusal where they do not name one moment.
  MaybeFailure Check() const;

  // The cycle that a viewer skips to: a negative one is a huge one, as it is in the viewer.
  uint64_t SkipTo() const { return static_cast<uint64_t>(int64_t{skipTo.value_or(0)}); }
};

// The state at the moment. Questions about a trace whose cycles fall, or which holds what the array
// lacks, go through all of it: they show how far they are, and a signal ends them in order. An
// index that is damaged is built anew on the way.
MaybeFailure TellState(const MomentFlags& moment, const ArrayShape& shape, IndexedTrace& trace,
                       const Console& console, ArrayState& state);

// Whether events behind the place where the trace breaks off may belong to the moment that was
// told.
bool IsCutShort(const MomentFlags& moment, const ArrayState& state, const Summary& summary);

}  // namespace marrowfin

#endif
