#ifndef EXPLORER_CORE_ASKING_H
#define EXPLORER_CORE_ASKING_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "explorer/core/AnswerBytes.h"
#include "explorer/core/LentNotes.h"
#include "explorer/core/Question.h"
#include "explorer/core/Refusal.h"
#include "explorer/core/StateCursors.h"
#include "explorer/core/TraceView.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Progress.h"
#include "trace/base/Result.h"
#include "trace/index/Index.h"

namespace marrowfin {

// What is at hand for an answer. Whoever answers takes all members that the question may have,
// looks at their trouble (Check), and only then reads the trace.
struct Asking {
  Members& members;
  const TraceView& view;
  const Index& index;                       // of this question alone
  const std::optional<ArrayShape>& option;  // the array, where whoever opened the trace told it
  const ProgressCallback& progress;         // false where nobody wants the answer any more

  const TraceSource& Trace() const { return view.Trace(); }
  const Summary& GetSummary() const { return view.GetSummary(); }

  // What is wrong with the question, once all its members were taken.
  MaybeRefusal Check() {
    members.RefuseOthers();
    return members.Trouble();
  }
};

typedef MaybeRefusal (*AnswerFunction)(Asking& asking, AnswerBytes& answer);

// The shape of the question; where it has none, the one that the trace is shown in.
ArrayShape TakeShape(Asking& asking);

// The array of a trace: what whoever opened it told, else what its run told where that holds what
// fired and transmitted, else one that does; nothing where none does.
struct KnownShape {
  ArrayShape shape;
  const char* from = "";  // "option", "about" or "extent"
};
std::optional<KnownShape> ShapeOf(const TraceView& view, const std::optional<ArrayShape>& option);

// The moment of the question; and the same as a cycle where it was told as a step of the natural
// reading, of a question that was found good.
struct AskedMoment {
  Moment moment;
  std::optional<uint64_t> naturalStep;
};
AskedMoment TakeMoment(Members& members);
[[nodiscard]] Result<Moment> FindMoment(const Asking& asking, const AskedMoment& asked);

// A range of cycles, both included.
struct AskedCycles {
  uint64_t first = 0;
  uint64_t last = 0;

  friend bool operator==(const AskedCycles&, const AskedCycles&) = default;
};
AskedCycles TakeCycles(Members& members);

// How many bins are asked for: at least one, at most 8192.
size_t TakeBins(Members& members);

// The state of an array at the moment of a question; the cursor goes back by StateCursors::Put.
[[nodiscard]] Result<std::unique_ptr<StateCursors::Placed>> TakeCursor(const Asking& asking,
                                                                       const AskedMoment& asked,
                                                                       const ArrayShape& shape);

// The notes for this question, or why there are none just now.
struct AskedNotes {
  LentNotes::Lease lease;
  MaybeRefusal refusal;
};
AskedNotes BorrowNotes(const Asking& asking);

// The same without waiting for them: whether they are there.
MaybeRefusal RefuseWithoutNotes(const Asking& asking);

}  // namespace marrowfin

#endif
