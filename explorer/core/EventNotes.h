#ifndef EXPLORER_CORE_EVENTNOTES_H
#define EXPLORER_CORE_EVENTNOTES_H

#include <cstdint>
#include <vector>

#include "explorer/core/Asking.h"
#include "explorer/core/JsonText.h"
#include "explorer/core/TraceView.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/Result.h"

namespace marrowfin {

// One value of an attribute for each of some events, and whether it has one; of several values the
// first. Reals stand as their bits.
struct EventNotes {
  std::vector<uint64_t> values;
  std::vector<uint8_t> has;
};

// What the notes tell of events that ascend, by attribute.
[[nodiscard]] Result<std::vector<EventNotes>> NotesOf(const Asking& asking, KnownNotes& known,
                                                      const std::vector<TraceEvent>& events);

// An event within the head of an answer, whose object is open behind it: End closes it.
JsonText& PutEvent(const TraceEvent& event, JsonText& head);

// The members `kind` and `notes` of one event, where notes tell something of it.
[[nodiscard]] Fault PutNotesOf(const Asking& asking, const TraceEvent& event, JsonText& head);

}  // namespace marrowfin

#endif
