#ifndef TRACE_QUERY_H
#define TRACE_QUERY_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "trace/ActivityReader.h"
#include "trace/Columns.h"
#include "trace/Fault.h"
#include "trace/Index.h"
#include "trace/TraceFile.h"

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
struct EventFilter {
  uint64_t firstRecord = 0;  // up to lastRecord, not included
  uint64_t lastRecord = ~uint64_t{0};
  uint64_t firstCycle = 0;  // up to lastCycle, included
  uint64_t lastCycle = ~uint64_t{0};
  bool switches = true;  // types
  bool fires = true;
  bool sends = true;
  std::optional<uint32_t> thread;
  std::optional<Region> region;  // where it fired or transmitted; of sends, either end

  bool Matches(const TraceEvent& event) const;
};

// Goes through the events that a filter lets through, in order of the trace, and reads only as far
// as it is asked to. Spans of the trace in which the index knows of no activity in the region are
// passed over, so the cost follows the answer and not the range. Trace and index must outlive the
// cursor.
//
// In a trace whose cycles fall a range of cycles does not narrow what is read.
class EventCursor {
 public:
  // `progress`, which counts records, may stop the search.
  EventCursor(const TraceFile& trace, const Index& index, const EventFilter& filter,
              ProgressCallback progress = {});

  // The next event. False at the end, and where a fault was met.
  bool Next(TraceEvent& event);

  // The last event before the one that Next would look at. False where there is none.
  bool Previous(TraceEvent& event);

  const Fault& GetFault() const { return fault; }

 private:
  bool Narrow();
  bool Load(uint64_t record);
  uint64_t PassOver(uint64_t record);
  uint64_t PassBack(uint64_t record);
  bool IsQuiet(size_t from, size_t to);
  TraceEvent EventAt(size_t i) const;

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
};

// How much activity each of `bins` equal spans of the cycles `first` to `last` (included) saw in a
// region of the array: one pass over the records where the spans are short, differences of the
// index's sums where they are long. For traces whose cycles do not fall.
bool ActivityOverTime(const TraceFile& trace, const Index& index, uint64_t first, uint64_t last,
                      size_t bins, Activity kind, const std::optional<Region>& region,
                      const ProgressCallback& progress, std::vector<uint64_t>& counts,
                      Fault& fault);

}  // namespace marrowfin

#endif
