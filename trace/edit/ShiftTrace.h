#ifndef TRACE_EDIT_SHIFTTRACE_H
#define TRACE_EDIT_SHIFTTRACE_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "trace/base/About.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/edit/NewTrace.h"
#include "trace/edit/RecordFeed.h"
#include "trace/read/NotesFile.h"

namespace marrowfin {

// Threads that get other numbers: those from `first` on, up to `last`, get those from `to` on.
struct ThreadMove {
  uint32_t first = 0;
  uint32_t last = 0;
  uint32_t to = 0;
};

// Where and when records are moved to. Threads: a value, which one thread writes or any number
// read.
struct Shift {
  std::optional<uint64_t> firstCycle;  // that the first record gets; all others go along
  uint64_t later = 0;                  // cycles, or
  uint64_t earlier = 0;

  // A position that is told in `places` goes there; any other is mirrored first, on the array, and
  // moved then. Switches are mirrored with their clusters and moved, and are none of `places`.
  std::map<Place, Place, InRowOrder> places;
  bool mirrorColumns = false;
  bool mirrorRows = false;
  ArrayShape shape;
  int64_t columns = 0;
  int64_t rows = 0;

  std::vector<ThreadMove> threads;  // the first that has a thread counts

  bool MovesPlaces() const {
    return !places.empty() || mirrorColumns || mirrorRows || columns != 0 || rows != 0;
  }
};

// What was moved.
struct ShiftAccount {
  uint64_t records = 0;
  uint64_t firstCycle = 0;
  uint64_t lastCycle = 0;
  uint64_t lostValues = 0;  // cycles in notes, and samples, that would be before 0 or off the array
  Fault leftOut = {};       // of samples that are damaged: the last of them
  Fault end = {};           // why the trace breaks off, if it does
};

// Moves all records of a trace, with its notes: cycles in them go along, samples too. `notes` is
// what the feed's notes stand in, null where there are none. Closes nothing.
//
// A fault where the trace cannot be read, or the new one cannot be written (NewTrace::GetFault has
// that one); an OUT_OF_RANGE fault, with the record, where a cycle or a place would be none.
[[nodiscard]] Result<ShiftAccount> ShiftTrace(RecordFeed& feed, const NotesFile* notes,
                                              const Shift& shift, NewTrace& made,
                                              const ProgressCallback& progress = {});

// What is told of the run, moved likewise: threads and places have the names of those that they
// were, and the array is left out where places move off it.
About ShiftedAbout(const About& about, const Shift& shift);

}  // namespace marrowfin

#endif
