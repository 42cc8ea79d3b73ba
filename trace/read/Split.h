#ifndef TRACE_READ_SPLIT_H
#define TRACE_READ_SPLIT_H

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/read/Columns.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// A trace has no marks between records. These find where records begin all the same.
//
// Of any LARGE_RECORD bytes in a row at least one begins a record. At that one a chain of records
// hangs together, each known type with its own length and cycles that do not fall; at any other
// byte such a chain is rare, unless someone wrote a payload to look like it. So a byte is believed
// only where all chains that begin in the window have run together.

// A byte at or soon after `offset` at which a record begins, the size of the trace at its end;
// nothing where that cannot be told from the bytes nearby. Believe it of a well-formed trace only:
// behind a malformed record, records that nobody can reach may look as good as any.
Result<std::optional<uint64_t>> Resynchronise(const TraceSource& trace, uint64_t offset);

// The byte at which the first record of cycle `cycle` or later begins, the size of the trace where
// there is none, found by bisection and without an index, in a trace whose cycles do not fall.
// Where the bytes are ambiguous, or what is looked at on the way shows that cycles do fall, the
// trace is read from its start instead, and `progress` is told how many bytes are gone through.
Result<uint64_t> SeekCycle(const TraceSource& trace, uint64_t cycle,
                           const ProgressCallback& progress = {});

// Takes the batches of one piece of a trace, in order.
class PieceTaker {
 public:
  virtual ~PieceTaker() = default;
  virtual void Take(const Columns& columns) = 0;

  // Forgets all that was taken: the piece began in the wrong place and is read again.
  virtual void Forget() = 0;
};

// What the pieces of a trace amount to.
struct PiecesRead {
  std::vector<uint64_t> records;  // of each piece

  // Why the trace was not read to its end, if it was not: the fault at which it breaks off, or that
  // `progress` asked to stop. Pieces behind it have forgotten everything; those of a trace whose
  // reading was stopped, all of them.
  Fault end;
};

// Reads the whole trace in `takers.size()` pieces at a time, a thread each. The result is that of
// reading from front to back: a piece counts only where the piece before it ended exactly at its
// first byte, and is read again from there if not. `progress` is told bytes, fewer than before
// where a piece is read again; it is called in any of the threads, one call at a time.
PiecesRead ReadInPieces(const TraceSource& trace, const std::vector<PieceTaker*>& takers,
                        const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
