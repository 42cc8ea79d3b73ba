// What each element did last, by the kind that the notes tell.

#include <algorithm>
#include <utility>

#include "explorer/core/Answers.h"
#include "explorer/core/AskedKinds.h"
#include "trace/ask/LastTouches.h"
#include "trace/ask/NotesOverTime.h"

namespace marrowfin {
namespace {

constexpr size_t MOST_KINDS = 6;
constexpr uint8_t OTHER = MOST_KINDS + 1;

// The kinds that most fires of the whole trace have: the same at every moment, so that a colour
// means the same while a trace is played.
struct Kinds {
  std::vector<uint64_t> values;  // the most frequent first

  uint8_t CodeOf(uint64_t value) const {
    const auto found = std::find(values.begin(), values.end(), value);
    return found == values.end() ? OTHER : static_cast<uint8_t>(1 + (found - values.begin()));
  }
};

Result<Kinds> FindKinds(const Asking& asking, const AskedKinds& asked) {
  ActivityQuestion question;
  question.readAtMost = ActivityQuestion::QUICK;
  const Result<NoteBins> bins =
      NotesOverTime(asking.Trace(), asking.index, asked.Notes(), asked.Index(), asked.attribute,
                    question, asking.progress);
  if (!bins) {
    return bins.Why();
  }
  std::vector<std::pair<uint64_t, uint64_t>> counts;  // fires and value
  for (size_t slot = 0; slot < bins->values.size() && !bins->firsts.empty(); ++slot) {
    counts.emplace_back(bins->Of(slot, FIRE_RECORD)[0], bins->values[slot]);
  }
  std::stable_sort(counts.begin(), counts.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  Kinds kinds;
  for (size_t i = 0; i < std::min(MOST_KINDS, counts.size()); ++i) {
    kinds.values.push_back(counts[i].second);
  }
  return kinds;
}

// The codes of all elements of a state.
Result<std::vector<uint8_t>> CodesOf(const Asking& asking, const AskedKinds& asked,
                                     const Kinds& kinds, const ArrayState& state) {
  std::vector<uint8_t> codes(state.elementCodes.size());
  const NoteValues* values = nullptr;
  std::vector<uint16_t> rows;  // of which the values are, in the batch from record `first` on
  uint64_t first = 0;
  const auto take = [&](const Piece& piece, const Selection& found, size_t i) {
    if (piece.isSwitch) {
      return Fault();
    }
    // Pieces whose last events lie together are told one behind the other.
    if (values == nullptr || first != found.columns->firstRecord ||
        !std::equal(rows.begin(), rows.end(), found.rows.begin(), found.rows.end())) {
      const Result<const NoteValues*> read = asked.Notes().Of(found, asked.attribute);
      if (!read) {
        return read.Why();
      }
      values = *read;
      rows.assign(found.rows.begin(), found.rows.end());
      first = found.columns->firstRecord;
    }
    codes[piece.number] = values->Has(i) ? kinds.CodeOf(values->Value(i)) : 0;
    return Fault();
  };
  const Fault fault = FindLastTouches(asking.Trace(), asking.index, state, Region(), state.cycle,
                                      take, asking.progress);
  if (fault) {
    return fault;
  }
  return codes;
}

}  // namespace

MaybeRefusal AnswerKinds(Asking& asking, AnswerBytes& answer) {
  const AskedMoment moment = TakeMoment(asking.members);
  const ArrayShape shape = TakeShape(asking);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  const AskedKinds asked = BorrowKinds(asking);
  if (asked.refusal) {
    return asked.refusal;
  }
  const Result<Kinds> kinds = FindKinds(asking, asked);
  if (!kinds) {
    return RefusalOf(kinds.Why());
  }
  auto placed = TakeCursor(asking, moment, shape);
  if (!placed) {
    return RefusalOf(placed.Why());
  }
  const Result<std::vector<uint8_t>> codes =
      CodesOf(asking, asked, *kinds, (*placed)->cursor.State());
  if (!codes) {
    return RefusalOf(codes.Why());
  }
  asking.view.Cursors().Put(std::move(placed).Take());
  PutKindNames(asked, kinds->values, answer.Head());
  answer.Column("elements", *codes);
  return std::nullopt;
}

}  // namespace marrowfin
