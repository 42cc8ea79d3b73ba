#ifndef CONVERT_EXPORT_ABOUTFACTS_H
#define CONVERT_EXPORT_ABOUTFACTS_H

#include <functional>
#include <string>

#include "convert/export/EventLines.h"

namespace marrowfin {

// Calls `take(key, value)` for what is known of the run and its array, as texts: name, command,
// date, tool, cycle_ns, clusters_columns, clusters_rows, and the same of domains and pes.
void ForFacts(const EventNaming& naming,
              const std::function<void(const char* key, const std::string& value)>& take);

}  // namespace marrowfin

#endif
