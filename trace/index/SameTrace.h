#ifndef TRACE_INDEX_SAMETRACE_H
#define TRACE_INDEX_SAMETRACE_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "trace/base/Fault.h"
#include "trace/base/Result.h"
#include "trace/index/IndexTables.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// How an index knows its trace again, and how it shows that a trace was written to while it was
// read: by size and times, by the bytes at both ends, by some records of each segment. All of it is
// decided here.

// The clock of file times moves on in ticks of some milliseconds, and what is written within the
// tick of a change leaves the time as that change made it. So a trace is not read before the tick
// of its last change is over: whatever is written later than that shows in its time.
void LetTickPass(const TraceSource& trace);

// What is kept of the trace as it is; the fault of one that cannot be read.
[[nodiscard]] Result<TraceMark> MarkOf(const TraceSource& trace);

// The checksum of the first and the last so many bytes of a trace, or of all of them where there
// are fewer.
constexpr uint64_t TRACE_EDGE = 4096;
uint32_t EdgeSum(std::span<const uint8_t> first, std::span<const uint8_t> last);

// The checksum by which segments are recognised: of the fields of their first records.
constexpr uint64_t SAMPLED_RECORDS = 8;
uint32_t SampleRecords(const Columns& columns, size_t from, size_t to, uint32_t before);

// Whether the first bytes of the trace have the edges of one that was marked, and so may be that
// one, grown.
bool HasEdges(const TraceSource& trace, const TraceMark& mark);

// What a trace is to an index: the one that it is of, as far as anything tells; the same with more
// records behind; another one, or what another was made of it.
enum class Likeness { SAME, GROWN, OTHER };
Likeness LikenessOf(const TraceSource& trace, const IndexTables& tables);

// The CHANGED fault of a trace that is not what was indexed of it between MarkOf and now, or the
// fault of one that cannot be read; one that only grew is fine. `tables` are those made meanwhile.
[[nodiscard]] Fault CheckIndexed(const TraceSource& trace, const TraceMark& before,
                                 const IndexTables& tables);

// The same whenever a question is asked. Costs one look at the size and the time of the file; only
// where it has grown, as it may, some of its records are compared: whoever runs a simulator again
// empties the file in place and writes it anew.
[[nodiscard]] Fault CheckStillIndexed(const TraceSource& trace, const IndexTables& tables);

}  // namespace marrowfin

#endif
