#ifndef MEASURE_COUNTRUN_H
#define MEASURE_COUNTRUN_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "measure/CycleRange.h"
#include "measure/RunCounts.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// What is to be counted, of which records.
struct RunQuestion {
  ArrayShape shape;
  bool wrapColumns = false;
  bool wrapRows = false;
  bool columnFirst = false;
  EventFilter filter;
  size_t mostColumns = 400;  // of the timeline

  // Whether sums by place are all that is wanted: fires, sends, receives and transmissions over the
  // range of cycles, with the records of each type in one column. An index tells those in some
  // milliseconds where the filter asks for cycles alone; else everything is counted as ever.
  bool sumsSuffice = false;

  // The same with the timeline in its columns: what an index tells then takes reading about one
  // cell of its time table for each of them. By thread only of runs whose threads it tells apart;
  // others are counted as ever.
  bool timelineSuffices = false;
  bool timelineByThread = true;

  bool elementLinks = false;  // see RunShape

  // Whether single cycles are told apart for each element, and for each switch.
  bool elementPulses = false;
  bool switchPulses = false;

  // What notes of the records must meet as well; `notes` may be null where there are no conditions.
  // With conditions it takes an index, and one pass from front to back.
  std::vector<NoteCondition> conditions = {};
  NotesOfTrace* notes = nullptr;
};

// The cycles of the first and the last record of a trace, read from its ends; of a trace whose
// cycles fall, of those in between as far as they are read. OUT_OF_RANGE where it has no record.
[[nodiscard]] Result<CycleRange> CyclesOf(const TraceSource& trace);

// Counts the records that the filter lets through, in one pass by all processors; with an index,
// and a filter that leaves most of the trace out, only what that tells to read. A filter on records
// or steps, or one that leaves events out, needs an index. The timeline is of the cycles asked for,
// as far as the trace has them.
//
// DAMAGED_INDEX where units fired or transmitted outside an array that the index says to hold all.
// Another fault where the trace cannot be read to its end, or `progress`, which counts bytes, or
// with an index records, asked to stop. What was counted up to a break is in no answer: a share of
// a trace is no measure of a run.
[[nodiscard]] Result<RunCounts> CountRun(const TraceSource& trace, const Index* index,
                                         const RunQuestion& question,
                                         const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
