#ifndef EXPLORER_CORE_TRACEVIEW_H
#define EXPLORER_CORE_TRACEVIEW_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "explorer/core/LentNotes.h"
#include "trace/ask/NotesIndex.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/Companion.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

class CountedRuns;
class EventCounters;
class FoundCauses;
class KnownPieces;
class StateCursors;

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

  // What was counted last, what caused what, and what is known of pieces of the array.
  CountedRuns& Runs() const { return *runs; }
  FoundCauses& CausesFound() const { return *causes; }
  KnownPieces& Pieces() const { return *pieces; }

  // Joins the notes, which takes reading them where they have no index yet; whoever asks meanwhile
  // is told that they are not there yet. A fault where they are not believed. To be called once.
  [[nodiscard]] Fault ReadNotes(const ProgressCallback& progress);

  // The notes, for one question; none where there are none, or none yet. CANCELLED where others
  // have them all and nobody wants to wait any more.
  [[nodiscard]] Result<LentNotes::Lease> Notes(const ProgressCallback& progress) const;

  // What is known of all notes; null where there are none, or none yet. Nobody waits for it.
  std::shared_ptr<const NotesIndex> IndexOfNotes() const;

  // Whether there are notes that are still being read.
  bool NotesAreComing() const;

  // Why they are not believed; no fault where they are, or are missing.
  Fault WhyNoNotes() const;

 private:
  static constexpr size_t MOST_IDLE = 4;

  void TakeBack(std::unique_ptr<Index> used) const;
  std::unique_ptr<KnownNotes> MoreNotes() const;

  std::shared_ptr<const TraceSource> trace;
  std::shared_ptr<const Companion> companion;
  std::unique_ptr<Index> index;  // never asked itself, only copied
  bool whole;
  std::unique_ptr<StateCursors> cursors;
  std::unique_ptr<EventCounters> counters;
  std::unique_ptr<CountedRuns> runs;
  std::unique_ptr<FoundCauses> causes;
  std::unique_ptr<KnownPieces> pieces;

  mutable std::mutex idleMutex;
  mutable std::vector<std::unique_ptr<Index>> idle;

  mutable std::mutex notesMutex;  // of what follows
  std::shared_ptr<const NotesIndex> notesIndex;
  std::unique_ptr<LentNotes> lentNotes;
  bool notesDone = false;
  Fault noNotes;
};

}  // namespace marrowfin

#endif
