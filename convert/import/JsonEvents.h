#ifndef CONVERT_IMPORT_JSONEVENTS_H
#define CONVERT_IMPORT_JSONEVENTS_H

#include <memory>

#include "convert/import/EventStream.h"

namespace marrowfin {

// Reads a JSON object a line, as `events` and `export` write them: places as `at`, or `from` and
// `to`, of a column and a row each, or under the names that tables have; what is in `notes` is
// noted. StreamOptions::names says what the objects call their members.
std::unique_ptr<EventStream> OpenJsonEvents(InputBytes& input, const StreamOptions& options);

}  // namespace marrowfin

#endif
