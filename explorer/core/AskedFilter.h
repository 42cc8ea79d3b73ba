#ifndef EXPLORER_CORE_ASKEDFILTER_H
#define EXPLORER_CORE_ASKEDFILTER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "explorer/core/AskedPiece.h"
#include "explorer/core/Asking.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/Region.h"
#include "trace/ask/Selection.h"

namespace marrowfin {

// Which events a question is about.
struct AskedFilter {
  EventFilter events;

  // Of messages, where the sender and the receiver are; other events have neither.
  std::optional<Region> from;
  std::optional<Region> to;

  std::vector<std::string> notes;  // conditions on notes, as people write them

  bool HasEnds() const { return from || to; }
  bool IsPlain() const { return !HasEnds() && notes.empty(); }
  bool HasEndsOf(const TraceEvent& event) const {
    return (!from || from->Has(event.at)) && (!to || to->Has(event.to));
  }
};

// The member `filter` of a question; all events where there is none.
AskedFilter TakeFilter(Asking& asking, const ArrayShape& shape);

// The member `piece` of a question.
AskedPiece TakePiece(Asking& asking, const ArrayShape& shape);

// The elements that a piece has; of a switch the place at which records have it, of a link the node
// that it leaves.
Region RegionOf(const AskedPiece& piece, const ArrayShape& shape);

// Narrows a filter to the events of a piece: of a PE its fires and messages either way, of a switch
// its transmissions, of a link the messages over it alone.
void NarrowTo(const AskedPiece& piece, const ArrayShape& shape, AskedFilter& filter);

// Goes through the events of a filter from a record on, or back from the one before it, until
// `take` returns false: a batch, and which of its records.
typedef std::function<bool(const Selection& found, size_t i)> TakeEvent;
MaybeRefusal WalkEvents(const Asking& asking, const AskedFilter& filter, uint64_t from, bool back,
                        const TakeEvent& take);

// The same of a filter that asks for no notes.
[[nodiscard]] Fault WalkPlain(const Asking& asking, const AskedFilter& filter, uint64_t from,
                              bool back, const TakeEvent& take);

// How many events a filter lets through, before a record too, and which is the n-th; each as far as
// it is asked for.
struct EventCounts {
  uint64_t count = 0;
  std::optional<uint64_t> before;
  std::optional<uint64_t> nth;  // nothing where there are no more than n
};
struct CountQuestion {
  std::optional<uint64_t> before;
  std::optional<uint64_t> nth;
};
struct CountAnswer {
  EventCounts counts;
  MaybeRefusal refusal;
};
CountAnswer CountEvents(const Asking& asking, const AskedFilter& filter,
                        const CountQuestion& question);

}  // namespace marrowfin

#endif
