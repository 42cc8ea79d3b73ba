#include "explorer/core/TraceView.h"

#include <utility>

#include "explorer/core/CountedRuns.h"
#include "explorer/core/EventCounters.h"
#include "explorer/core/FoundCauses.h"
#include "explorer/core/KnownPieces.h"
#include "explorer/core/StateCursors.h"

namespace marrowfin {

TraceView::TraceView(std::shared_ptr<const TraceSource> trace,
                     std::shared_ptr<const Companion> companion, std::unique_ptr<Index> index,
                     bool whole)
    : trace(std::move(trace)),
      companion(std::move(companion)),
      index(std::move(index)),
      whole(whole),
      cursors(std::make_unique<StateCursors>(*this->trace, [this] { return Another(); })),
      counters(std::make_unique<EventCounters>(*this->trace, [this] { return Another(); })),
      runs(std::make_unique<CountedRuns>()),
      causes(std::make_unique<FoundCauses>()),
      pieces(std::make_unique<KnownPieces>()) {
  // Read once, so that all copies share it; where it is damaged, whoever needs it is told.
  static_cast<void>(this->index->Times());
}

TraceView::~TraceView() = default;

TraceView::Lease TraceView::Borrow() const {
  const std::lock_guard lock(idleMutex);
  if (idle.empty()) {
    return {*this, index->Another()};
  }
  std::unique_ptr<Index> used = std::move(idle.back());
  idle.pop_back();
  return {*this, std::move(used)};
}

void TraceView::TakeBack(std::unique_ptr<Index> used) const {
  const std::lock_guard lock(idleMutex);
  if (idle.size() < MOST_IDLE) {
    idle.push_back(std::move(used));
  }
}

std::unique_ptr<Index> TraceView::Another() const {
  const std::lock_guard lock(idleMutex);
  return index->Another();
}

Fault TraceView::ReadNotes(const ProgressCallback& progress) {
  std::unique_ptr<KnownNotes> read;
  Fault fault = companion->WhyNoNotes();
  if (companion->Notes() != nullptr) {
    read = std::make_unique<KnownNotes>(*trace, Another(), *companion->Notes());
    Result<std::unique_ptr<NotesIndex>> opened =
        NotesIndex::Open(*trace, *read->traceIndex, read->notes, progress);
    fault = opened ? Fault() : opened.Why();
    if (opened) {
      read->Use(std::move(opened).Take());
    } else {
      read = nullptr;
    }
  }
  const std::lock_guard lock(notesMutex);
  noNotes = fault;
  notesDone = fault.kind != Fault::CANCELLED;
  if (read) {
    notesIndex = read->index;
    lentNotes = std::make_unique<LentNotes>(std::move(read), [this] { return MoreNotes(); });
  }
  return fault;
}

std::unique_ptr<KnownNotes> TraceView::MoreNotes() const {
  auto notes = std::make_unique<KnownNotes>(*trace, Another(), *companion->Notes());
  notes->Use(IndexOfNotes());
  return notes;
}

Result<LentNotes::Lease> TraceView::Notes(const ProgressCallback& progress) const {
  LentNotes* lender = nullptr;
  {
    const std::lock_guard lock(notesMutex);
    lender = lentNotes.get();
  }
  return lender != nullptr ? lender->Borrow(progress) : LentNotes::Lease();
}

std::shared_ptr<const NotesIndex> TraceView::IndexOfNotes() const {
  const std::lock_guard lock(notesMutex);
  return notesIndex;
}

bool TraceView::NotesAreComing() const {
  const std::lock_guard lock(notesMutex);
  return companion->Notes() != nullptr && !notesDone;
}

Fault TraceView::WhyNoNotes() const {
  const std::lock_guard lock(notesMutex);
  return noNotes;
}

}  // namespace marrowfin
