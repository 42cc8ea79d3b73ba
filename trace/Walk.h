#ifndef TRACE_WALK_H
#define TRACE_WALK_H

#include <cstdint>
#include <functional>

#include "trace/Columns.h"
#include "trace/Fault.h"
#include "trace/Index.h"
#include "trace/TraceFile.h"

namespace marrowfin {

// Finding records and going through ranges of them, with an index that is of the trace. What is
// read in vain is at most the distance between two entries of the sparse table.

// Takes the records `from` up to `to` of a batch; false stops the walk.
typedef std::function<bool(const Columns& columns, size_t from, size_t to)> BatchFunction;

// Calls `take` with the records `first` up to `last` (not included, and at most all) in order. The
// number of record i of a batch is columns.firstRecord + i. False where `fault` was set.
bool Walk(const TraceFile& trace, const Index& index, uint64_t first, uint64_t last,
          const BatchFunction& take, Fault& fault);

// Where record `record` stands; it must exist. False where `fault` was set.
bool Locate(const TraceFile& trace, const Index& index, uint64_t record, IndexEntry& entry,
            Fault& fault);

// The first record that is the changes-th change of cycle, 0 for record 0; the number of all
// records where there are fewer changes.
bool FindChange(const TraceFile& trace, const Index& index, uint64_t changes, uint64_t& record,
                Fault& fault);

// The first record whose cycle is at least `cycle`; the number of all records where there is none.
// In a trace whose cycles fall the records before it may have to be read.
bool FindCycle(const TraceFile& trace, const Index& index, uint64_t cycle, uint64_t& record,
               Fault& fault);

}  // namespace marrowfin

#endif
