#ifndef TRACE_ASK_BATCHCURSOR_H
#define TRACE_ASK_BATCHCURSOR_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "trace/ask/EventFilter.h"
#include "trace/ask/FilterRange.h"
#include "trace/ask/QuietSpans.h"
#include "trace/ask/Selection.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Goes through the records that a filter lets through, in order of the trace, batch by batch, and
// reads only as far as it is asked to: what stands under lists, cuts, exports and counts. Segments
// of which the index knows that nothing in them matches (QuietSpans) are passed over, many at a
// time, so the cost follows the answer and not the range.
//
// A cursor stands between two records. What is read is decoded once on the way forward and up to
// twice on the way back: batches begin where the one before ended, so where those of a stride of
// the sparse table begin is noted first. Keeping the batches themselves was rejected, since a long
// trace has long strides.
//
// A batch is told only where the trace is still what was indexed when it is read; from then on
// GetFault() says that it changed.
//
// In a trace whose cycles fall a range of cycles does not narrow what is read.
//
// For one thread at a time, each with an index of its own; trace and index must outlive it.
class BatchCursor {
 public:
  // Stands at the start of the filter's range. `progress`, which counts records of the range that
  // Next or Previous goes through, may stop the search. At the end of the range it is told once
  // that all was gone through.
  BatchCursor(const TraceSource& trace, const Index& index, const EventFilter& filter,
              ProgressCallback progress = {});

  // The next batch that has records that match, at least one: those behind where the cursor stands.
  // The cursor then stands behind found.end. False at the end, and where a fault was met. `found`
  // is good until the next call.
  [[nodiscard]] bool Next(Selection& found);

  // The last such batch before where the cursor stands, which then is before found.begin.
  [[nodiscard]] bool Previous(Selection& found);

  // Places the cursor before a record, or at the nearer end of the range if that is not in it.
  // Costs nothing; the next call reads from there. A search that was stopped may be taken up this
  // way.
  void Seek(uint64_t record);

  // An empty one where nothing went wrong.
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
  bool Holds(uint64_t record) const;
  bool Load(uint64_t record);
  bool LoadBack(uint64_t record);
  bool Decode(Spot spot);
  Spot SpotBefore(uint64_t record) const;
  Spot Behind() const;
  uint64_t PassOver(uint64_t record);
  uint64_t PassBack(uint64_t record, uint64_t from);
  bool Take(uint64_t from, uint64_t to, Selection& found);
  bool Report(uint64_t done, uint64_t all);
  bool End();

  const TraceSource& trace;
  const Index& index;
  const EventFilter filter;
  ProgressCallback progress;
  QuietSpans quiet;
  Selector selector;
  Fault fault;
  std::optional<RecordRange> range;  // the records that may match, once that is known
  uint64_t next = 0;  // where the cursor stands; before that is known, what was sought
  std::unique_ptr<Columns> columns;
  std::vector<Spot> spots;  // where batches begin that follow each other, for the way back
  uint64_t spotsEnd = 0;    // the first record behind them
  uint64_t recordsRead = 0;
};

}  // namespace marrowfin

#endif
