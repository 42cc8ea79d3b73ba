#ifndef CONVERT_IMPORT_HOPS_H
#define CONVERT_IMPORT_HOPS_H

#include <memory>

#include "convert/import/EventStream.h"

namespace marrowfin {

// Reads the hops of packets from router to router, one a line, as logs of network simulators tell
// them: "12 | 5 -> 6", "cycle 12 | router 5 -> router 6". Only the numbers of a line count;
// StreamOptions::names says which of them, counted from 1, is what: `cycle` (1 unless told), `from`
// and `to` (2 and 3) for routers that are numbered row by row in a mesh StreamOptions::width wide,
// or `column`, `row`, `toColumn` and `toRow`; `thread` and `packet` where they are there. A hop
// becomes a message.
std::unique_ptr<EventStream> OpenHops(InputBytes& input, const StreamOptions& options);

}  // namespace marrowfin

#endif
