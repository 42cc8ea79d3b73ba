#ifndef TRACE_ASK_EVENTCURSOR_H
#define TRACE_ASK_EVENTCURSOR_H

#include <cstdint>
#include <utility>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/Selection.h"

namespace marrowfin {

// Goes through the events that a filter lets through one by one, both ways and from anywhere. What
// it costs, when it reports and who may use it is as BatchCursor says, which is the quicker way to
// many events. Threads: one at a time, each with an index of its own.
class EventCursor {
 public:
  // Stands at the start of the filter's range. `progress` counts records of the range that Next or
  // Previous goes through; false stops the search.
  EventCursor(const TraceSource& trace, const Index& index, const EventFilter& filter,
              ProgressCallback progress = {})
      : batches(trace, index, filter, std::move(progress)) {}

  // The next event, behind which the cursor then stands. False at the end, and where a fault was
  // met.
  [[nodiscard]] bool Next(TraceEvent& event);

  // The last event before where the cursor stands, which then is before that event. False where
  // there is none.
  [[nodiscard]] bool Previous(TraceEvent& event);

  // Places the cursor before a record, or at the nearer end of the filter's range, so that Next
  // finds the first event from there on and Previous the last one before. Costs nothing. A search
  // that was stopped may be taken up this way.
  void Seek(uint64_t record);

  // An empty one where nothing went wrong.
  const Fault& GetFault() const { return batches.GetFault(); }

  // As BatchCursor::RecordsRead.
  uint64_t RecordsRead() const { return batches.RecordsRead(); }

 private:
  BatchCursor batches;
  Selection found;  // the records around where the cursor stands; none before the first question
  size_t row = 0;   // of those that match, how many lie before the cursor
};

}  // namespace marrowfin

#endif
