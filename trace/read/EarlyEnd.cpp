#include "trace/read/EarlyEnd.h"

namespace marrowfin {

Fault EarlyEndOf(const NotesFile& notes, uint64_t records) {
  if (notes.End() || notes.Records() >= records) {
    return notes.End();
  }
  Fault fault;
  fault.kind = Fault::CUT_NOTES;
  fault.file = notes.Name();
  fault.reason = "the notes end before the trace";
  fault.remedy = "whoever records them was stopped, or goes on";
  return fault;
}

}  // namespace marrowfin
