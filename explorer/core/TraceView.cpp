#include "explorer/core/TraceView.h"

#include <utility>

#include "explorer/core/CountedRuns.h"
#include "explorer/core/EventCounters.h"
#include "explorer/core/FoundCauses.h"
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
      causes(std::make_unique<FoundCauses>()) {
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
      read->index = std::move(opened).Take();
    } else {
      read = nullptr;
    }
  }
  const std::lock_guard lock(pendingMutex);
  known = std::move(read);
  noNotes = fault;
  notesDone = fault.kind != Fault::CANCELLED;
  return fault;
}

TraceView::NotesLease TraceView::Notes() const {
  NotesLease lease;
  {
    const std::lock_guard lock(pendingMutex);
    lease.known = known.get();
  }
  if (lease.known != nullptr) {
    lease.lock = std::unique_lock(notesMutex);
  }
  return lease;
}

bool TraceView::NotesAreComing() const {
  const std::lock_guard lock(pendingMutex);
  return companion->Notes() != nullptr && !notesDone;
}

Fault TraceView::WhyNoNotes() const {
  const std::lock_guard lock(pendingMutex);
  return noNotes;
}

}  // namespace marrowfin
