#include "measure/CountPairs.h"

#include "measure/MessagePairs.h"
#include "trace/ask/BatchCursor.h"
#include "trace/ask/NoteMarks.h"

namespace marrowfin {
namespace {

// What is remembered of a message besides its record and cycle.
struct Ends {
  uint32_t thread = 0;
  Place from;
  Place to;
};

class PairCounter {
 public:
  PairCounter(NotesOfTrace& notes, uint32_t consumes, const std::vector<NoteCondition>& conditions)
      : notes(notes), consumes(consumes), chosen(&notes, conditions) {}

  Fault Add(const Selection& found) {
    const Result<const NoteValues*> consumed = notes.Of(found, consumes);
    if (!consumed) {
      return consumed.Why();
    }
    if (Fault fault = chosen.Read(found)) {
      return fault;
    }
    for (size_t i = 0; i < found.Size(); ++i) {
      const TraceEvent event = found.Event(i);
      if (event.type == SEND_RECORD && chosen.Meet(i)) {
        pairs.Send(event.record, event.cycle, {event.thread, event.at, event.to});
      } else if (event.type == FIRE_RECORD) {
        pairs.Fire(
            event.cycle, (*consumed)->All(i),
            [&](uint64_t cycles, uint64_t record, const Ends& ends) {
              Take({record, event.cycle - cycles, ends.thread, SEND_RECORD, ends.from, ends.to},
                   event.cycle);
            });
      }
    }
    return {};
  }

  PairCounts counts;

 private:
  void Take(const TraceEvent& message, uint64_t consumed) {
    const uint64_t cycles = consumed - message.cycle;
    if (!counts.slowest || cycles > counts.cycles.Largest()) {
      counts.slowest = {message, consumed};
    }
    counts.cycles.Add(cycles);
  }

  NotesOfTrace& notes;
  uint32_t consumes;
  NoteMarks chosen;
  MessagePairs<Ends> pairs;
};

}  // namespace

Result<std::optional<PairCounts>> CountPairs(const TraceSource& trace, const Index& index,
                                             NotesOfTrace* notes, const NotedFilter& filter,
                                             const ProgressCallback& progress) {
  const std::optional<uint32_t> consumes =
      notes != nullptr ? notes->Declarations().Attribute(CONSUMES_ATTRIBUTE) : std::nullopt;
  if (!consumes) {
    return std::optional<PairCounts>();
  }
  BatchCursor cursor(trace, index, filter.events, progress);
  PairCounter counter(*notes, *consumes, filter.notes);
  Selection found;
  while (cursor.Next(found)) {
    if (Fault fault = counter.Add(found)) {
      return fault;
    }
  }
  if (Fault fault = cursor.GetFault()) {
    return fault;
  }
  return std::optional(std::move(counter.counts));
}

}  // namespace marrowfin
