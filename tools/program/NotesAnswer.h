#ifndef TOOLS_PROGRAM_NOTESANSWER_H
#define TOOLS_PROGRAM_NOTESANSWER_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "tools/program/AnswerTable.h"
#include "tools/program/NotesInput.h"
#include "tools/program/TraceInput.h"
#include "trace/ask/NotedCursor.h"
#include "trace/base/Place.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"

namespace marrowfin {

// What notes tell as a whole, in tables. All faults are those of the trace engine.

// Cycles in equal bins, as far as whole cycles go; none where `first` is above `last`.
struct NotesRange {
  uint64_t first = 0;
  uint64_t last = ~uint64_t{0};  // included
  size_t bins = 1;
};

struct NotesAsked {
  const IndexedTrace& trace;
  JoinedNotes& joined;  // with an index, but for CountByPlace
  NotesRange range;
  ProgressCallback progress;
};

// How many records of each type have which value of an attribute, in each bin: a row for each value
// in the order in which the notes mention them, then those without one and, as "(others)", those of
// further values, where there are any.
[[nodiscard]] Result<AnswerTable> TellValues(const NotesAsked& asked, uint32_t attribute);

// What a counter does in each bin, at a place or summed over all of them.
[[nodiscard]] Result<AnswerTable> TellCounter(const NotesAsked& asked, uint32_t counter,
                                              const std::optional<Place>& at);

// What a counter does in the range at each of its places, row by row.
[[nodiscard]] Result<AnswerTable> TellCounterByPlace(const NotesAsked& asked, uint32_t counter);

// What each counter does in the range, summed over its places.
[[nodiscard]] Result<AnswerTable> TellCounters(const NotesAsked& asked);

// How many of the events that a filter lets through each place has, row by row.
[[nodiscard]] Result<AnswerTable> CountByPlace(const NotesAsked& asked, const NotedFilter& filter);

}  // namespace marrowfin

#endif
