#ifndef EXPLORER_CORE_EVENTNOTES_H
#define EXPLORER_CORE_EVENTNOTES_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "explorer/core/Asking.h"
#include "explorer/core/JsonText.h"
#include "explorer/core/TraceView.h"
#include "trace/ask/EventFilter.h"
#include "trace/base/NotesFormat.h"
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

// What notes tell of some events that ascend, of all of them at once; nothing where there are no
// notes, or none yet.
class ToldNotes {
 public:
  [[nodiscard]] static Result<ToldNotes> Of(const Asking& asking,
                                            const std::vector<TraceEvent>& events);

  // The members `kind` and `notes` of the i-th of the events, where there are notes.
  void Put(size_t i, JsonText& head) const;

 private:
  std::vector<NoteAttribute> attributes;
  std::vector<EventNotes> columns;
};

}  // namespace marrowfin

#endif
