#ifndef TRACE_ASK_QUERY_H
#define TRACE_ASK_QUERY_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "trace/ask/ActivityReader.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Fault.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// One event, with where it stands.
struct TraceEvent {
  uint64_t record = 0;
  uint64_t cycle = 0;
  uint32_t thread = 0;
  uint32_t type = FIRE_RECORD;  // a RecordType
  Place at;                     // where it fired or transmitted, or the sender
  Place to;                     // the receiver; (0, 0) for events that are no sends
};

// A rectangle of positions, corners included.
struct Region {
  Place first;
  Place last{~0U, ~0U};

  bool Has(Place place) const {
    return place.column >= first.column && place.column <= last.column && place.row >= first.row &&
           place.row <= last.row;
  }

  // One position; a domain or a cluster of an array, counted from 0 along each axis over the whole
  // array.
  static Region Element(Place place) { return {place, place}; }
  static Region Domain(const ArrayShape& shape, uint32_t column, uint32_t row);
  static Region Cluster(const ArrayShape& shape, uint32_t column, uint32_t row);
};

// Which events are asked for; all conditions must hold.
//
// Steps are those of a viewer that skips to cycle `skipTo` (its option -F): step n has the events
// that the viewer's n-th animation step consumes, as ViewerSteps tells, whether what it shows then
// is ever drawn or not. What the viewer's start consumes is step 0; with `skipTo` 0 that is record
// 0 alone.
struct EventFilter {
  uint64_t firstRecord = 0;  // up to lastRecord, not included
  uint64_t lastRecord = ~uint64_t{0};
  uint64_t firstCycle = 0;  // up to lastCycle, included
  uint64_t lastCycle = ~uint64_t{0};
  uint64_t firstStep = 0;  // up to lastStep, included
  uint64_t lastStep = ~uint64_t{0};
  uint64_t skipTo = 0;
  bool switches = true;  // types
  bool fires = true;
  bool sends = true;
  std::optional<uint32_t> thread;
  std::optional<Region> region;  // where it fired or transmitted; of sends, either end

  // Whether the event itself meets all conditions; its step, which only the events before it tell,
  // is not looked at.
  bool Matches(const TraceEvent& event) const;
};

// Goes through the events that a filter lets through, in order of the trace, and reads only as far
// as it is asked to. Segments of the trace in which the index knows of no event of the wanted types
// in the region are passed over, many at a time, so the cost follows the answer and not the range.
// The index does not know which thread was active where: a search for events of a thread reads all
// segments that the other conditions leave. Trace and index must outlive the cursor.
//
// What is read is decoded once on the way forward and up to twice on the way back: batches begin
// where the one before ended, so where those of a stride of the sparse table begin is noted first.
// Keeping the batches themselves was rejected, since a long trace has long strides.
//
// An event is told only where the trace is still what was indexed when its batch is read; from then
// on GetFault() says that it changed.
//
// In a trace whose cycles fall a range of cycles does not narrow what is read.
class EventCursor {
 public:
  // `progress`, which counts records of the range that Next or Previous goes through, may stop the
  // search. At the end of the range it is told once that all was gone through.
  EventCursor(const TraceFile& trace, const Index& index, const EventFilter& filter,
              ProgressCallback progress = {});

  // The next event. False at the end, and where a fault was met.
  bool Next(TraceEvent& event);

  // The last event before the one that Next would look at. False where there is none.
  bool Previous(TraceEvent& event);

  const Fault& GetFault() const { return fault; }

  // How many records the search has decoded so far, also those before the one it was after;
  // without those that were read to find the ends of a range of cycles or steps.
  uint64_t RecordsRead() const { return recordsRead; }

 private:
  // Where a record begins.
  struct Spot {
    uint64_t record;
    uint64_t offset;
  };

  bool Narrow();
  Fault NarrowToCycles();
  Fault NarrowToSteps();
  bool End();
  bool Holds(uint64_t record) const;
  bool Load(uint64_t record);
  bool LoadBack(uint64_t record);
  bool Decode(Spot spot);
  Spot SpotBefore(uint64_t record) const;
  Spot Behind() const;
  bool TellsQuiet() const;
  bool IsQuiet(size_t from, size_t to);
  bool HasNone(size_t from, size_t to, Activity activity);
  size_t BoundaryAt(uint64_t record) const;
  uint64_t RecordOf(size_t boundary) const;
  uint64_t PassOver(uint64_t record);
  uint64_t PassBack(uint64_t record, uint64_t from);
  bool MayMatch(size_t i) const;
  bool Take(size_t i, TraceEvent& event);
  bool Report(uint64_t done, uint64_t all);
  TraceEvent EventAt(size_t i) const;

  static constexpr size_t NO_SEGMENT = ~size_t{0};

  const TraceFile& trace;
  const Index& index;
  EventFilter filter;
  ProgressCallback progress;
  ActivityReader activity;
  Fault fault;
  bool narrowed = false;
  uint64_t begin = 0;  // the records that may match, `end` not included
  uint64_t end = 0;
  uint64_t next = 0;
  std::unique_ptr<Columns> columns;
  bool settled = false;        // whether the batch is known to be of the trace that was indexed
  std::vector<Spot> spots;     // where batches begin that follow each other, for the way back
  uint64_t spotsEnd = 0;       // the first record behind them
  size_t active = NO_SEGMENT;  // a segment, by the boundary at its start, that is not quiet
  uint64_t recordsRead = 0;
  std::vector<uint64_t> counts;
};

// How much activity each of `bins` equal spans of the cycles `first` to `last` (included) saw in a
// region of the array: one pass over the records where the spans are short, differences of the
// index's sums where they are long. For traces whose cycles do not fall. `progress` counts records.
Result<std::vector<uint64_t>> ActivityOverTime(const TraceFile& trace, const Index& index,
                                               uint64_t first, uint64_t last, size_t bins,
                                               Activity kind,
                                               const std::optional<Region>& region = {},
                                               const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
