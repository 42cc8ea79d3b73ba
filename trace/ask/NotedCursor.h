#ifndef TRACE_ASK_NOTEDCURSOR_H
#define TRACE_ASK_NOTEDCURSOR_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/FilterRange.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NoteSpans.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Which events are asked for, by what the trace tells of them and what their notes do; all
// conditions must hold.
struct NotedFilter {
  EventFilter events;
  std::vector<NoteCondition> notes;
};

// Goes through the records that such a filter lets through, as BatchCursor does, which without
// conditions on notes it is. Where the notes have an index (NotesIndex), records of which it tells
// that their notes do not match are passed over.
//
// For one thread at a time; trace, index and notes must outlive it.
class NotedCursor {
 public:
  // Stands at the start of the filter's range. `progress`, which counts records of the range, may
  // stop the search.
  NotedCursor(const TraceSource& trace, const Index& index, NotesOfTrace& notes,
              const NotedFilter& filter, ProgressCallback progress = {});

  // The next batch that has records that match, at least one, behind where the cursor stands; it
  // then stands behind found.end. False at the end, and where a fault was met. `found` is good
  // until the next call.
  [[nodiscard]] bool Next(Selection& found);

  // The last such batch before where the cursor stands, which then is before found.begin.
  [[nodiscard]] bool Previous(Selection& found);

  // Places the cursor before a record, or at the nearer end of the range. Costs nothing. A search
  // that was stopped may be taken up this way.
  void Seek(uint64_t record);

  // An empty one where nothing went wrong. OTHER_TRACE where there are conditions on notes and they
  // turned out not to be of this trace, OUT_OF_RANGE where they cannot be asked; that a block was
  // left out since it is damaged NotesOfTrace::Refused tells.
  const Fault& GetFault() const { return fault; }

  // How many records the search has decoded so far, without those that were read to compare notes
  // with them.
  uint64_t RecordsRead() const {
    return readBefore + (batches != nullptr ? batches->RecordsRead() : 0);
  }

 private:
  bool Prepare();
  void Open(const RecordRange& found);
  bool Take(Selection& found);
  bool Tell(uint64_t done);
  bool End();

  const TraceSource& trace;
  const Index& index;
  NotesOfTrace& notes;
  const NotedFilter filter;
  ProgressCallback progress;
  Fault fault;
  NoteSpans spans;
  std::optional<RecordRange> range;
  EventFilter within;  // the filter's conditions for records of the range
  uint64_t next = 0;   // where the cursor stands; before the range is known, what was sought
  RecordRange span;    // that is gone through now, in which records may match
  std::unique_ptr<BatchCursor> batches;  // in the span
  uint64_t readBefore = 0;               // records, by those before it
  uint64_t done = 0;  // of the call that is under way, before what `batches` is asked
  uint64_t all = 0;   // of the same, what there is to go through
  uint64_t told = 0;
  std::array<uint8_t, Columns::CAPACITY> marks;
  std::array<uint16_t, Columns::CAPACITY> rows;
};

}  // namespace marrowfin

#endif
