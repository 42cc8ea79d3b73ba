#ifndef CONVERT_IMPORT_CSVEVENTS_H
#define CONVERT_IMPORT_CSVEVENTS_H

#include <memory>

#include "convert/import/EventStream.h"

namespace marrowfin {

// Reads comma-separated values (RFC 4180; lines may end with a line feed alone) below a line of
// names, as `events` and `export` write them: cycle, column and row must be there, thread, type,
// toColumn and toRow may. Without a type, what has a receiver is a send and all else a fire. Every
// other column is noted of its events. StreamOptions::names says what the table calls its columns.
std::unique_ptr<EventStream> OpenCsvEvents(InputBytes& input, const StreamOptions& options);

}  // namespace marrowfin

#endif
