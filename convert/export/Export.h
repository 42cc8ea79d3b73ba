#ifndef CONVERT_EXPORT_EXPORT_H
#define CONVERT_EXPORT_EXPORT_H

#include <cstdint>
#include <functional>
#include <vector>

#include "convert/export/Exporter.h"
#include "trace/ask/EventSteps.h"
#include "trace/ask/NotedCursor.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Fault.h"
#include "trace/base/Progress.h"
#include "trace/index/Index.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// Hands the events of a trace that a filter lets through to an exporter, with their notes, and the
// values of counters that lie within the filter's cycles and region. Threads: one at a time.
class Export {
 public:
  // Both outlive it.
  Export(const NotedFilter& filter, Exporter& exporter) : filter(filter), exporter(exporter) {}

  // Exports all; `notes` is null where there are none. Called again behind a DAMAGED_INDEX fault,
  // with an index that was built anew meanwhile, it goes on behind what it has handed over: that
  // came from the trace itself. `progress` counts records.
  [[nodiscard]] Fault Write(const TraceSource& trace, const Index& index, NotesOfTrace* notes,
                            const ProgressCallback& progress);

  uint64_t Events() const { return events; }    // that were exported
  uint64_t Samples() const { return samples; }  // of counters, likewise

  // Why values of counters were left out, if any were; the first of it.
  const Fault& DamagedSamples() const { return damaged; }

 private:
  // What is done with each batch.
  typedef std::function<Fault(const NotedSelection&)> Take;

  struct Source {
    const TraceSource& trace;
    const Index& index;
    NotesOfTrace* notes;
    const ProgressCallback& progress;
  };
  Fault WalkAll(const Source& source, const Take& take, uint64_t& place);
  template <class Cursor>
  Fault WalkWith(Cursor& cursor, const Source& source, const Take& take, uint64_t& place);
  Fault HandOver(const Selection& found, NotesOfTrace* notes, EventSteps* steps, const Take& take);
  typedef std::function<Fault(const CounterSample&)> TakeSample;
  Fault SurveySamples(const NotesOfTrace* notes);
  Fault ForSamples(const NotesFile& notes, const TakeSample& take);
  bool IsWanted(const CounterSample& sample) const;

  const NotedFilter& filter;
  Exporter& exporter;
  uint64_t surveyed = 0;  // up to this record
  uint64_t added = 0;     // likewise
  bool begun = false;
  uint64_t events = 0;
  uint64_t samples = 0;
  Fault damaged;
  std::vector<const NoteValues*> values;
};

}  // namespace marrowfin

#endif
