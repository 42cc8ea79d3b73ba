#ifndef CONVERT_IMPORT_POPNET_H
#define CONVERT_IMPORT_POPNET_H

#include <memory>

#include "convert/import/EventStream.h"

namespace marrowfin {

// Reads lines "T sx sy dx dy n": at cycle T, which may have a fraction that is cut off, a packet of
// n flits leaves column sx and row sy for dx and dy. It becomes a message, n its size.
std::unique_ptr<EventStream> OpenPopnet(InputBytes& input, const StreamOptions& options);

}  // namespace marrowfin

#endif
