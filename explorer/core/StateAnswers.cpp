// States of the array, and what changes from one to the next.

#include <algorithm>
#include <deque>
#include <utility>

#include "explorer/core/Answers.h"
#include "trace/ask/Walk.h"

namespace marrowfin {
namespace {

// How many steps a reading has.
Result<uint64_t> CountSteps(const Asking& asking, const AskedMoment& asked) {
  const Summary& summary = asking.GetSummary();
  if (asked.moment.natural) {
    return summary.records > 0 ? summary.changes + 1 : 0;
  }
  const Result<ViewerSteps> steps =
      FindSteps(asking.Trace(), asking.index, asked.moment.skipTo, asking.progress);
  if (!steps) {
    return steps.Why();
  }
  return steps->count;
}

// Columns of messages. Their names are those of a state with `prefix` before.
struct MessageColumns {
  std::vector<double> records;
  std::vector<uint8_t> ages;
  std::vector<uint32_t> threads;
  std::vector<Place> from;
  std::vector<Place> to;

  void Add(const ArrayState& state, const LiveMessage& message) {
    records.push_back(static_cast<double>(message.record));
    ages.push_back(static_cast<uint8_t>(state.AgeOf(message)));
    threads.push_back(message.thread);
    from.push_back(message.from);
    to.push_back(message.to);
  }
};

void PutMoment(const ArrayState& state, JsonText& head) {
  head.Key("step").Number(state.step);
  head.Key("cycle").Wide(state.cycle);
  head.Key("first").Number(state.first);
  head.Key("last").Number(state.last);
  head.Key("shown").Flag(state.shown);
  head.Key("messages").Number(state.messages.size());
}

// Changes of one moment after the other.
class StepColumns {
 public:
  // Adds what led to a state.
  void Add(const ArrayState& state, const StateChanges& changes) {
    steps.push_back(static_cast<double>(state.step));
    cycles.push_back(state.cycle);
    lasts.push_back(static_cast<double>(state.last));
    shown.push_back(state.shown ? 1 : 0);
    AddPieces(changes.elements, elements, elementCodes, elementEnds);
    AddPieces(changes.switches, switches, switchCodes, switchEnds);
    for (const LiveMessage& message : changes.gone) {
      gone.push_back(static_cast<double>(message.record));
    }
    goneEnds.push_back(static_cast<uint32_t>(gone.size()));
    for (const LiveMessage& message : changes.appeared) {
      sent.Add(state, message);
    }
    sentEnds.push_back(static_cast<uint32_t>(sent.records.size()));
  }

  size_t Moments() const { return steps.size(); }

  // About how many bytes they take.
  size_t Bytes() const {
    return 5 * (elements.size() + switches.size()) + 8 * gone.size() + 29 * sent.records.size();
  }

  void Put(AnswerBytes& answer) const {
    answer.Column("step", steps);
    answer.Column("cycle", cycles);
    answer.Column("last", lasts);
    answer.Column("shown", shown);
    answer.Column("elementEnd", elementEnds);
    answer.Column("switchEnd", switchEnds);
    answer.Column("goneEnd", goneEnds);
    answer.Column("sentEnd", sentEnds);
    answer.Column("element", elements);
    answer.Column("elementCode", elementCodes);
    answer.Column("switch", switches);
    answer.Column("switchCode", switchCodes);
    answer.Column("gone", gone);
    answer.Column("sent", sent.records);
    answer.Column("sentAge", sent.ages);
    answer.Column("sentThread", sent.threads);
    answer.Column("sentFrom", sent.from);
    answer.Column("sentTo", sent.to);
  }

 private:
  // Pieces whose codes stay the same were touched again: nobody sees that. They are told by number,
  // so that the same steps are told alike whatever way a cursor has come.
  static void AddPieces(const std::vector<PieceChange>& changes, std::vector<uint32_t>& numbers,
                        std::vector<uint8_t>& codes, std::vector<uint32_t>& ends) {
    std::vector<uint64_t> made;
    for (const PieceChange& change : changes) {
      if (change.before != change.after) {
        made.push_back(uint64_t{change.number} << 8 | change.after);
      }
    }
    std::sort(made.begin(), made.end());
    for (const uint64_t change : made) {
      numbers.push_back(static_cast<uint32_t>(change >> 8));
      codes.push_back(static_cast<uint8_t>(change));
    }
    ends.push_back(static_cast<uint32_t>(numbers.size()));
  }

  std::vector<double> steps;
  std::vector<uint64_t> cycles;
  std::vector<double> lasts;
  std::vector<uint8_t> shown;
  std::vector<uint32_t> elementEnds;
  std::vector<uint32_t> switchEnds;
  std::vector<uint32_t> goneEnds;
  std::vector<uint32_t> sentEnds;
  std::vector<uint32_t> elements;
  std::vector<uint8_t> elementCodes;
  std::vector<uint32_t> switches;
  std::vector<uint8_t> switchCodes;
  std::vector<double> gone;
  MessageColumns sent;
};

}  // namespace

MaybeRefusal AnswerState(Asking& asking, AnswerBytes& answer) {
  const AskedMoment asked = TakeMoment(asking.members);
  const ArrayShape shape = TakeShape(asking);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  auto placed = TakeCursor(asking, asked, shape);
  if (!placed) {
    return RefusalOf(placed.Why());
  }
  const Result<uint64_t> steps = CountSteps(asking, asked);
  if (!steps) {
    return RefusalOf(steps.Why());
  }
  const ArrayState& state = (*placed)->cursor.State();
  PutMoment(state, answer.Head());
  answer.Head().Key("steps").Number(*steps);
  answer.Column("elements", state.elementCodes);
  answer.Column("switches", state.switchCodes);
  MessageColumns messages;
  for (const LiveMessage& message : state.messages) {
    messages.Add(state, message);
  }
  answer.Column("record", messages.records);
  answer.Column("age", messages.ages);
  answer.Column("thread", messages.threads);
  answer.Column("from", messages.from);
  answer.Column("to", messages.to);
  asking.view.Cursors().Put(std::move(placed).Take());
  return std::nullopt;
}

MaybeRefusal AnswerSteps(Asking& asking, AnswerBytes& answer) {
  constexpr uint64_t MOST_STEPS = 512;
  constexpr size_t MOST_BYTES = 8 << 20;
  const AskedMoment asked = TakeMoment(asking.members);
  const ArrayShape shape = TakeShape(asking);
  const uint64_t count = asking.members.NumberUpTo("count", MOST_STEPS);
  const bool back = asking.members.Flag("back");
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  auto placed = TakeCursor(asking, asked, shape);
  if (!placed) {
    return RefusalOf(placed.Why());
  }
  StateCursor& cursor = (*placed)->cursor;
  StepColumns columns;
  bool ended = false;
  while (!ended && columns.Moments() < count && columns.Bytes() < MOST_BYTES) {
    const Result<bool> moved =
        back ? cursor.Previous(asking.progress) : cursor.Next(asking.progress);
    if (!moved) {
      return RefusalOf(moved.Why());
    }
    ended = !*moved;
    if (*moved) {
      columns.Add(cursor.State(), cursor.Changes());
    }
    if (asking.progress && !asking.progress({columns.Moments(), count, Progress::RECORDS})) {
      return RefusalOf(CancelledFault(asking.Trace().Name()));
    }
  }
  answer.Head().Key("moments").Number(columns.Moments());
  answer.Head().Key("ended").Flag(ended);
  columns.Put(answer);
  asking.view.Cursors().Put(std::move(placed).Take());
  return std::nullopt;
}

}  // namespace marrowfin
