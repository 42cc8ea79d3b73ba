#ifndef TOOLS_PROGRAM_COMPANIONINPUT_H
#define TOOLS_PROGRAM_COMPANIONINPUT_H

#include <optional>

#include "tools/program/Subcommand.h"
#include "tools/program/TraceInput.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"
#include "trace/read/Companion.h"
#include "trace/read/Summary.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What stands beside a trace of so many records. Says on console.err what of it is not believed, or
// ends early: that is no failure.
Companion OpenCompanion(const TraceSource& trace, uint64_t records, const Console& console);

// Says the same of notes that turned out not to be believed when they were joined to the records.
void ReportRefused(const Fault& refused, const Console& console);

// The same for who asks for what was told of the run alone: nothing is said of notes.
Companion OpenAbout(const TraceSource& trace, const Console& console);

// A trace whose array is asked for.
struct ShapeQuestion {
  const ShapeFlags& flags;
  const Companion& companion;
  const Summary& summary;
};

// The array of a trace: what the flags give, else what the run told of itself, where that holds
// what fired and transmitted and has no more elements than anyone has drawn, else what shows the
// whole trace. Nothing where nothing does.
std::optional<ArrayShape> KnownShape(const ShapeQuestion& question);

// What a viewer shows it as: likewise, but that of what was told the square is taken that it fills
// up to (SquareOf).
std::optional<ArrayShape> ViewedShape(const ShapeQuestion& question);

// The square of what the run told, where it told something and that holds the trace.
std::optional<ArrayShape> ToldView(const Companion& companion, const Summary& summary);

// The failure where there is none, of a trace of that name.
Failure NoShape(const std::string& trace);

}  // namespace marrowfin

#endif
