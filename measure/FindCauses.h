#ifndef MEASURE_FINDCAUSES_H
#define MEASURE_FINDCAUSES_H

#include <cstdint>
#include <optional>

#include "measure/CausalGraph.h"
#include "measure/LeastTimes.h"
#include "measure/Strands.h"
#include "measure/TimedTrace.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

struct CauseQuestion {
  ArrayShape shape;
  bool wrapColumns = false;
  bool wrapRows = false;
  Strands::Limits limits = {};
};

// What is known of how the causes were found.
struct CauseCounts {
  uint64_t told = 0;  // causes of events, by evidence
  uint64_t byPacket = 0;
  uint64_t inferred = 0;
  uint64_t unused = 0;         // messages that caused nothing
  uint64_t forgotten = 0;      // of them, those that were given up for want of memory
  uint64_t contradicting = 0;  // told causes that cannot be: consumed records that are no messages,
                               // producers that are no fires

  uint64_t Causes() const { return told + byPacket + inferred; }
  bool AreCertain() const { return inferred == 0; }
};

// What caused each event of a run.
struct Causes {
  TimedTrace trace;
  CausalGraph graph;
  LeastTimes least;
  CauseCounts counts;
  uint64_t firstTime = 0;        // of the run
  std::optional<uint64_t> last;  // with which it ends: its last fire, where it has none its last
                                 // message; of several in one cycle the last in the trace
  uint64_t lastTime = 0;
};

// Finds what caused each event, as docs/measures.md tells: by what the notes tell of it
// (`consumes`, `produced_by`, `packet`), and where they do not, or are null, by thread and place.
//
// Memory: about three bytes a record that stay, half a byte more on the way where there are notes,
// and some ten megabytes. A fault where the trace cannot be read, or `progress`, which counts
// records, asked to stop. Trace and index must outlive the answer; the notes need not.
[[nodiscard]] Result<Causes> FindCauses(const TraceSource& trace, const Index& index,
                                        NotesOfTrace* notes, const CauseQuestion& question,
                                        const ProgressCallback& progress = {});

// The last fire of an element up to a cycle, which is included; nothing where there is none.
[[nodiscard]] Result<std::optional<uint64_t>> LastFireOf(const TraceSource& trace,
                                                         const Index& index, Place element,
                                                         uint64_t cycle,
                                                         const ProgressCallback& progress = {});

}  // namespace marrowfin

#endif
