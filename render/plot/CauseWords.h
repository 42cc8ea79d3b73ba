#ifndef RENDER_PLOT_CAUSEWORDS_H
#define RENDER_PLOT_CAUSEWORDS_H

#include <string>

#include "trace/ask/EventFilter.h"

namespace marrowfin {

// What plots of causes say alike.

// "fire", "message", "transmission".
std::string CauseEventName(const TraceEvent& event);

// "fire: PE (7, 3), thread 1, cycle 472".
std::string CauseEventWords(const TraceEvent& event);

// Whether causes are told or inferred, and how.
std::string CauseEvidenceWords(bool certain);

}  // namespace marrowfin

#endif
