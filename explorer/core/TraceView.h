#ifndef EXPLORER_CORE_TRACEVIEW_H
#define EXPLORER_CORE_TRACEVIEW_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "trace/ask/NotesIndex.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/About.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/index/Index.h"
#include "trace/read/Companion.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

class CountedRuns;
class EventCounters;
class FoundCauses;
class StateCursors;

// The notes of a trace joined to its records, and their index. One thread at a time.
struct KnownNotes {
  KnownNotes(const TraceSource& trace, std::unique_ptr<Index> itsIndex, const NotesFile& file)
      : traceIndex(std::move(itsIndex)), notes(trace, *traceIndex, file) {}

  std::unique_ptr<Index> traceIndex;
  std::unique_ptr<NotesIndex> index;  // which the notes use
  NotesOfTrace notes;
};

// A trace as it was known at one time: its bytes, an index of as many records as were indexed by
// then, and what stands beside it. A view never changes, but that its notes come later; when more
// is known there is another view, and whoever still asks this one keeps it.
//
// Any number of threads may ask.
class TraceView {
 public:
  // `whole` tells that the index is of all records.
  TraceView(std::shared_ptr<const TraceSource> trace, std::shared_ptr<const Companion> companion,
            std::unique_ptr<Index> index, bool whole);
  TraceView(const TraceView&) = delete;
  TraceView& operator=(const TraceView&) = delete;
  ~TraceView();

  const TraceSource& Trace() const { return *trace; }
  const Companion& Beside() const { return *companion; }
  const Summary& GetSummary() const { return index->GetSummary(); }
  const IndexTables& Tables() const { return index->Tables(); }
  bool IsWhole() const { return whole; }

  // An index that belongs to one question, and goes back when the question is answered: what it has
  // unpacked serves the next one.
  class Lease {
   public:
    Lease(const TraceView& view, std::unique_ptr<Index> index)
        : view(view), index(std::move(index)) {}
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease() { view.TakeBack(std::move(index)); }

    const Index& operator*() const { return *index; }
    operator const Index&() const { return *index; }

   private:
    const TraceView& view;
    std::unique_ptr<Index> index;
  };
  Lease Borrow() const;

  // One to keep.
  std::unique_ptr<Index> Another() const;

  // States that go on from where a question left them.
  StateCursors& Cursors() const { return *cursors; }
  EventCounters& Counters() const { return *counters; }

  // What was counted last, and what caused what.
  CountedRuns& Runs() const { return *runs; }
  FoundCauses& CausesFound() const { return *causes; }

  // Joins the notes, which takes reading them where they have no index yet; whoever asks meanwhile
  // is told that they are not there yet. A fault where they are not believed.
  [[nodiscard]] Fault ReadNotes(const ProgressCallback& progress);

  // The notes, for as long as the lock is held; null where there are none, or none yet.
  struct NotesLease {
    std::unique_lock<std::mutex> lock;
    KnownNotes* known = nullptr;
  };
  NotesLease Notes() const;

  // Whether there are notes that are still being read.
  bool NotesAreComing() const;

  // Why they are not believed; no fault where they are, or are missing.
  Fault WhyNoNotes() const;

 private:
  static constexpr size_t MOST_IDLE = 4;

  void TakeBack(std::unique_ptr<Index> used) const;

  std::shared_ptr<const TraceSource> trace;
  std::shared_ptr<const Companion> companion;
  std::unique_ptr<Index> index;  // never asked itself, only copied
  bool whole;
  std::unique_ptr<StateCursors> cursors;
  std::unique_ptr<EventCounters> counters;
  std::unique_ptr<CountedRuns> runs;
  std::unique_ptr<FoundCauses> causes;

  mutable std::mutex idleMutex;
  mutable std::vector<std::unique_ptr<Index>> idle;

  mutable std::mutex notesMutex;    // of the notes in use
  mutable std::mutex pendingMutex;  // of what follows
  std::unique_ptr<KnownNotes> known;
  bool notesDone = false;
  Fault noNotes;
};

}  // namespace marrowfin

#endif
