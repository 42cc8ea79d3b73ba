#ifndef CONVERT_IMPORT_NETRACE_H
#define CONVERT_IMPORT_NETRACE_H

#include <memory>

#include "convert/import/EventStream.h"

namespace marrowfin {

// Reads a Netrace recording of coherence traffic, version 1.0: a packet becomes a message, its type
// the thread. The nodes are a mesh numbered row by row, StreamOptions::width columns wide or, since
// the recording tells no coordinates, as square as goes. Which earlier packets one waits for is
// noted as far as those are among the last 65,536 that others wait for.
std::unique_ptr<EventStream> OpenNetrace(InputBytes& input, const StreamOptions& options);

}  // namespace marrowfin

#endif
