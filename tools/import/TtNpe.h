#ifndef TOOLS_IMPORT_TTNPE_H
#define TOOLS_IMPORT_TTNPE_H

#include "tools/import/Capture.h"
#include "tools/import/CharSource.h"
#include "tools/program/Failure.h"

namespace marrowfin {

// Reads a capture of network-on-chip events: a JSON list of flat objects, one per event, in any
// order. docs/import.md has the table of what each event becomes.
//
// The first fault ends the reading and comes back with the file, the byte (counted from 0), the
// JSON path, the reason and a remedy; `capture` is then of no use. Memory grows with the number of
// events (sizeof(CaptureEvent) each) and with nothing else: the text is never held.
[[nodiscard]] MaybeFailure ReadTtNpe(CharSource& source, Capture& capture);

}  // namespace marrowfin

#endif
