#ifndef EXPLORER_CORE_LENTNOTES_H
#define EXPLORER_CORE_LENTNOTES_H

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "trace/ask/NotesIndex.h"
#include "trace/ask/NotesOfTrace.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"
#include "trace/read/NotesFile.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {

// The notes of a trace joined to its records, and their index. One thread at a time.
struct KnownNotes {
  KnownNotes(const TraceSource& trace, std::unique_ptr<Index> itsIndex, const NotesFile& file)
      : traceIndex(std::move(itsIndex)), notes(trace, *traceIndex, file) {}

  // Uses an index of the notes, of which there is but one.
  void Use(std::shared_ptr<const NotesIndex> known) {
    index = std::move(known);
    notes.Know(&index->Tables());
  }

  std::unique_ptr<Index> traceIndex;
  std::shared_ptr<const NotesIndex> index;
  NotesOfTrace notes;
};

// Notes that are lent to questions, each for as long as it takes to answer one. There are at most
// MOST of them, since each keeps many bytes unpacked: whoever asks while all are lent waits for
// one, until `progress` tells that nobody wants his answer any more. So one question that goes
// through the whole run keeps no other waiting.
//
// Any number of threads may ask; who holds one must not ask for another.
class LentNotes {
 public:
  static constexpr size_t MOST = 2;

  // Makes one more, in whatever thread.
  typedef std::function<std::unique_ptr<KnownNotes>()> AnotherFunction;

  // Gives the notes back at its end; has none where it was made of nothing.
  class Lease {
   public:
    Lease() = default;
    Lease(LentNotes& lender, std::unique_ptr<KnownNotes> lent)
        : lender(&lender), lent(std::move(lent)) {}
    Lease(Lease&&) noexcept = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease() {
      if (lent) {
        lender->TakeBack(std::move(lent));
      }
    }

    explicit operator bool() const { return lent != nullptr; }
    KnownNotes& operator*() const { return *lent; }
    KnownNotes* operator->() const { return lent.get(); }

   private:
    LentNotes* lender = nullptr;
    std::unique_ptr<KnownNotes> lent;
  };

  LentNotes(std::unique_ptr<KnownNotes> first, AnotherFunction another);
  LentNotes(const LentNotes&) = delete;
  LentNotes& operator=(const LentNotes&) = delete;

  // CANCELLED where nobody wants to wait any more.
  [[nodiscard]] Result<Lease> Borrow(const ProgressCallback& progress);

 private:
  void TakeBack(std::unique_ptr<KnownNotes> used) noexcept;
  void Forget();

  const AnotherFunction another;
  std::mutex mutex;
  std::condition_variable back;
  std::vector<std::unique_ptr<KnownNotes>> idle;
  size_t lent = 0;
};

}  // namespace marrowfin

#endif
