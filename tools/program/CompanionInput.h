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

// What stands beside a trace. Says on console.err what of it is not believed, or ends early: that
// is no failure.
Companion OpenCompanion(const TraceSource& trace, const Console& console);

// Says the same of notes that turned out not to be believed when they were joined to the records.
void ReportRefused(const Fault& refused, const Console& console);

// The array of a trace: what the flags give, else what the run told of itself, else what shows the
// whole trace. Nothing where nothing does.
std::optional<ArrayShape> KnownShape(const ShapeFlags& flags, const Companion& companion,
                                     const Summary& summary);

}  // namespace marrowfin

#endif
