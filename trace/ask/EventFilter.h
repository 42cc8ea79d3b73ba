#ifndef TRACE_ASK_EVENTFILTER_H
#define TRACE_ASK_EVENTFILTER_H

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "trace/ask/Region.h"
#include "trace/base/Place.h"
#include "trace/base/Record.h"

namespace marrowfin {

// One event, with where it stands.
struct TraceEvent {
  uint64_t record = 0;  // counted from 0
  uint64_t cycle = 0;
  uint32_t thread = 0;
  uint32_t type = FIRE_RECORD;  // a RecordType
  Place at;                     // where it fired or transmitted, or the sender
  Place to;                     // the receiver; (0, 0) for events that are no sends
};

// Threads from `first` to `last`, both included.
struct ThreadRange {
  uint32_t first = 0;
  uint32_t last = ~uint32_t{0};

  bool Has(uint32_t thread) const { return thread >= first && thread <= last; }

  friend bool operator==(const ThreadRange&, const ThreadRange&) = default;
};

// Which events are asked for; all conditions must hold.
//
// Steps are those of a viewer that skips to cycle `skipTo` (its option -F): step n has the events
// that the viewer's n-th animation step consumes, as ViewerSteps tells, whether what it shows then
// is ever drawn or not. What the viewer's start consumes is step 0; with `skipTo` 0 that is record
// 0 alone. Threads: a value, which one thread writes or any number read.
struct EventFilter {
  uint64_t firstRecord = 0;  // up to lastRecord, not included
  uint64_t lastRecord = ~uint64_t{0};
  uint64_t firstCycle = 0;  // up to lastCycle, included
  uint64_t lastCycle = ~uint64_t{0};
  uint64_t firstStep = 0;  // up to lastStep, included
  uint64_t lastStep = ~uint64_t{0};
  uint64_t skipTo = 0;
  bool switches = true;  // types
  bool fires = true;
  bool sends = true;
  std::optional<uint32_t> thread;
  std::vector<ThreadRange> threads = {};  // where there are any: one of these
  std::optional<Region> region;           // where it fired or transmitted; of sends, either end
  std::vector<EventFilter> without = {};  // an event that any of these lets through is left out

  bool HasEveryThread() const { return !thread && threads.empty(); }
  bool HasEveryType() const { return switches && fires && sends; }
  bool HasEveryCycle() const { return firstCycle == 0 && lastCycle == ~uint64_t{0}; }

  // Whether events of a thread are wanted.
  bool HasThread(uint32_t wanted) const {
    const auto has = [&](const ThreadRange& range) { return range.Has(wanted); };
    return (!thread || *thread == wanted) &&
           (threads.empty() || std::any_of(threads.begin(), threads.end(), has));
  }

  // Whether events of a RecordType are wanted.
  bool HasType(uint32_t type) const {
    return type == FIRE_RECORD ? fires : type == SEND_RECORD ? sends : switches;
  }

  // Whether the event itself meets all conditions; its step, which only the events before it tell,
  // is not looked at.
  bool Matches(const TraceEvent& event) const;

  friend bool operator==(const EventFilter&, const EventFilter&) = default;
};

}  // namespace marrowfin

#endif
