#include "trace/ask/EventFilter.h"

namespace marrowfin {

bool EventFilter::Matches(const TraceEvent& event) const {
  const bool placed =
      !region || region->Has(event.at) || (event.type == SEND_RECORD && region->Has(event.to));
  return IsRecordType(event.type) && HasType(event.type) && placed && event.record >= firstRecord &&
         event.record < lastRecord && event.cycle >= firstCycle && event.cycle <= lastCycle &&
         HasThread(event.thread) &&
         std::none_of(without.begin(), without.end(),
                      [&](const EventFilter& other) { return other.Matches(event); });
}

}  // namespace marrowfin
