#include "trace/ask/EventFilter.h"

namespace marrowfin {

bool EventFilter::Matches(const TraceEvent& event) const {
  const bool placed =
      !region || region->Has(event.at) || (event.type == SEND_RECORD && region->Has(event.to));
  return IsRecordType(event.type) && HasType(event.type) && placed && event.record >= firstRecord &&
         event.record < lastRecord && event.cycle >= firstCycle && event.cycle <= lastCycle &&
         (!thread || event.thread == *thread);
}

}  // namespace marrowfin
