#ifndef TRACE_ASK_NOTESPANS_H
#define TRACE_ASK_NOTESPANS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/ask/FilterRange.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"

namespace marrowfin {

// Which records may have notes that meet some conditions, as far as that is known without reading
// them: what an index of the notes tells of their blocks, and that records without a block have no
// values. `notes` must outlive it; for one thread at a time.
class NoteSpans {
 public:
  NoteSpans(NotesOfTrace& notes, const std::vector<NoteCondition>& conditions);

  // The first records that may match among those from `record` up to `end` (not included); begins
  // and ends at `end` where there are none.
  RecordRange From(uint64_t record, uint64_t end);

  // The last such records among those from `begin` up to `record`; begins and ends at `begin` where
  // there are none.
  RecordRange Before(uint64_t record, uint64_t begin);

 private:
  // Records of one block, or of none, and whether they may match.
  struct Span {
    uint64_t begin;
    uint64_t end;
    bool mayMatch;
  };

  Span At(uint64_t record);
  bool MayMatch(size_t block);

  NotesOfTrace& notes;
  const std::vector<NoteCondition>& conditions;
  bool mayHaveNone = true;  // whether records without values may match
};

}  // namespace marrowfin

#endif
