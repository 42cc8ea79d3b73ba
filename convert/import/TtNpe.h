#ifndef CONVERT_IMPORT_TTNPE_H
#define CONVERT_IMPORT_TTNPE_H

#include "convert/import/Format.h"

namespace marrowfin {

// Reads a capture of network-on-chip events: a JSON list of flat objects, one per event, in any
// order. docs/import.md has the table of what each event becomes.
//
// An event with a value that no field of its name is known to hold, or without a field that it
// needs, is skipped and counted, unless the options are strict or there is no other event. Whatever
// else is wrong ends the reading and comes back with the byte (counted from 0), the JSON path, the
// reason and a remedy. Memory grows with the number of events (sizeof(CaptureEvent) each) and with
// nothing else: the text is never held.
[[nodiscard]] Result<Capture> ReadTtNpe(CharSource& source, const ReadingOptions& options);

}  // namespace marrowfin

#endif
