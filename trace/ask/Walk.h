#ifndef TRACE_ASK_WALK_H
#define TRACE_ASK_WALK_H

#include <cstdint>
#include <functional>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Finding records and going through ranges of them, with an index that is of the trace. What is
// read in vain is at most the distance between two entries of the sparse table.
//
// Where a trace is not what its index says, the fault is that of Contradiction. Not every change
// shows that way: whoever answers a question out of what was read asks Settle at its end. Asking
// after every walk was rejected, since a question takes several.
//
// Long walks tell `progress` the number of the record that is reached, and of all.
//
// Threads: any number may ask at a time, each with an index of its own.

// Takes the records `from` up to `to` of a batch; false stops the walk.
typedef std::function<bool(const Columns& columns, size_t from, size_t to)> BatchFunction;

// Calls `take` with the records `first` up to `last` (not included, and at most all) in order. The
// number of record i of a batch is columns.firstRecord + i. Whoever stops a walk knows why: that is
// no fault.
[[nodiscard]] Fault Walk(const TraceSource& trace, const Index& index, uint64_t first,
                         uint64_t last, const BatchFunction& take,
                         const ProgressCallback& progress = {});

// Where record `record` stands; it must exist.
Result<IndexEntry> Locate(const TraceSource& trace, const Index& index, uint64_t record);

// What precedes a record: the cycle of the one before it, and the changes of cycle up to that one.
struct Preceding {
  uint64_t cycle = 0;
  uint64_t changes = 0;
};

// What precedes `record`, which may be the end of the trace; nothing precedes record 0. A boundary
// tells it of its own record: the one before ends a block of a packed trace, all of which would be
// unpacked for it.
Result<Preceding> FindPreceding(const TraceSource& trace, const Index& index, uint64_t record);

// The first record that is the changes-th change of cycle, 0 for record 0; the number of all
// records where there are fewer changes.
Result<uint64_t> FindChange(const TraceSource& trace, const Index& index, uint64_t changes);

// The first record whose cycle is at least `cycle`; the number of all records where there is none.
// In a trace whose cycles fall the records before it may have to be read.
Result<uint64_t> FindCycle(const TraceSource& trace, const Index& index, uint64_t cycle,
                           const ProgressCallback& progress = {});

// How the steps of a viewer take up the records of a trace.
//
// Its start consumes the records up to and including the first one whose cycle is at least the one
// it skips to (its option -F; record 0 where it skips to cycle 0) and shows nothing of them: they
// belong to step 0. Step n, from 1 on, consumes the next records up to and including a change of
// cycle, a record whose cycle is not that of the record before it; the first record of step 1 is
// compared with cycle 0 instead. The step after the last change consumes what is left, which may be
// nothing, and meets the end of the trace.
struct ViewerSteps {
  uint64_t start = 0;    // the first record that the viewer's start leaves
  uint64_t changes = 0;  // changes of cycle from record 0 up to and including that one
  uint64_t early = 0;    // 1 where that record is a change for the viewer
  uint64_t count = 0;    // steps before the one that meets the end of the trace
};

Result<ViewerSteps> FindSteps(const TraceSource& trace, const Index& index, uint64_t skipTo,
                              const ProgressCallback& progress = {});

// The first record that the steps up to and including `step` leave; the number of all records for
// the step in which the trace ends, and for any later one.
Result<uint64_t> FindStepEnd(const TraceSource& trace, const Index& index, const ViewerSteps& steps,
                             uint64_t step);

// A CHANGED fault where the trace is no longer the one that was indexed, as far as that shows:
// whoever runs a simulator again empties the file in place and writes it anew. Costs one look at
// the size and the time of the file; only where it has grown, as it may, some of its records are
// compared.
[[nodiscard]] Fault CheckStillIndexed(const TraceSource& trace, const Index& index);

// Ends a question that was answered, or met `found`: its fault, which is CHANGED where the trace is
// not what was indexed any more, whatever else the changed bytes led to.
[[nodiscard]] Fault Settle(const TraceSource& trace, const Index& index, const Fault& found = {});

// The fault of a trace that is not what its index says: that the trace was changed where that
// shows; else somebody made up the index. Whoever does so can make its checksums right, so what it
// says of the trace is no more believed than the trace.
Fault Contradiction(const TraceSource& trace, const Index& index);

}  // namespace marrowfin

#endif
