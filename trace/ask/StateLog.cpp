#include "trace/ask/StateLog.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace marrowfin {

namespace {

// In place of a code, while events are gathered: that the piece was touched, and by which thread.
constexpr uint8_t MARK = 0x80;
static_assert(ElementCodes::COUNT <= MARK && SwitchCodes::COUNT <= MARK);

template <class Palette>
void PaintUntouched(const std::vector<uint8_t>& codes, const Palette& palette,
                    std::vector<Color>& colors) {
  for (size_t number = 0; number < codes.size(); ++number) {
    if (codes[number] == 0) {
      colors[number] = palette[0];
    }
  }
}

template <class Palette>
void PaintChanged(const std::vector<PieceChange>& changes, const Palette& palette,
                  std::vector<Color>& colors) {
  for (const PieceChange& change : changes) {
    colors[change.number] = palette[change.after];
  }
}

void TurnRound(std::vector<PieceChange>& changes, std::vector<uint8_t>& codes) {
  for (PieceChange& change : changes) {
    std::swap(change.before, change.after);
    codes[change.number] = change.after;
  }
}

template <class T>
size_t BytesOf(const std::vector<T>& values) {
  return values.capacity() * sizeof(T);
}

}  // namespace

size_t StateLog::Step::Bytes() const {
  return sizeof(Step) + BytesOf(changes.elements) + BytesOf(changes.switches) +
         BytesOf(changes.gone) + BytesOf(changes.appeared);
}

StateLog::StateLog(ArrayState start, size_t room)
    : state(std::move(start)),
      room(room),
      changes(&none),
      elementPalette(ElementPaletteAt(state.step)),
      switchPalette(SwitchPaletteAt(state.step)) {}

void StateLog::Touch(std::vector<uint8_t>& codes, size_t number, uint32_t thread,
                     std::vector<PieceChange>& touched) {
  uint8_t& code = codes[number];
  if ((code & MARK) == 0) {
    touched.push_back({static_cast<uint32_t>(number), code, code});
  }
  code = static_cast<uint8_t>(MARK | thread % ElementCodes::THREADS);
}

void StateLog::Untouch(std::vector<uint8_t>& codes, std::vector<PieceChange>& touched) {
  for (const PieceChange& piece : touched) {
    codes[piece.number] = piece.before;
  }
  touched.clear();
}

void StateLog::Fire(Place at, uint32_t thread) {
  Touch(state.elementCodes, state.shape.ElementNumber(at), thread, fired);
}

void StateLog::Transmit(Place at, uint32_t thread) {
  Touch(state.switchCodes, state.shape.SwitchNumber(at), thread, transmitted);
}

void StateLog::Send(uint64_t record, uint32_t thread, Place from, Place to) {
  sent.push_back({record, state.step + 1, thread, from, to});
}

void StateLog::Drop() {
  Untouch(state.elementCodes, fired);
  Untouch(state.switchCodes, transmitted);
  sent.clear();
}

// What is gathered and what fades, of which a piece may be both. `before` are the changes of the
// step before, null where they are not known.
template <class Codes>
void StateLog::Change(std::vector<PieceChange>& touched, const std::vector<PieceChange>* before,
                      std::vector<uint8_t>& codes, std::vector<PieceChange>& made) {
  const auto fade = [&](size_t number) {
    const uint8_t code = codes[number];
    if ((code & MARK) == 0 && Codes::Fades(code)) {
      codes[number] = static_cast<uint8_t>(code + 1);
      made.push_back({static_cast<uint32_t>(number), code, codes[number]});
    }
  };
  made.reserve(touched.size() + (before != nullptr ? before->size() : 0));
  if (before != nullptr) {
    for (const PieceChange& change : *before) {
      fade(change.number);
    }
  } else {
    for (size_t number = 0; number < codes.size(); ++number) {
      fade(number);
    }
  }
  for (const PieceChange& piece : touched) {
    uint8_t& code = codes[piece.number];
    code = Codes::Encode(code & ~MARK, 0);
    made.push_back({piece.number, piece.before, code});
  }
  touched.clear();
}

void StateLog::Commit(uint64_t last, uint64_t cycle, bool shown) {
  const StateChanges* before = steps.empty() ? nullptr : &steps.back().changes;
  Step step;
  Change<ElementCodes>(fired, before != nullptr ? &before->elements : nullptr, state.elementCodes,
                       step.changes.elements);
  Change<SwitchCodes>(transmitted, before != nullptr ? &before->switches : nullptr,
                      state.switchCodes, step.changes.switches);
  const auto staying = std::find_if(
      state.messages.begin(), state.messages.end(),
      [&](const LiveMessage& message) { return state.AgeOf(message) < LAST_MESSAGE_AGE; });
  step.changes.gone.assign(state.messages.begin(), staying);
  step.changes.appeared.assign(sent.begin(), sent.end());
  sent.clear();
  step.last = last;
  step.cycle = cycle;
  step.shown = shown;
  steps.push_back(std::move(step));
  kept += steps.back().Bytes();
  ++position;
  ++state.step;
  MoveMessages(steps.back().changes, true);
  SwapMoment(steps.back());
  Paint(steps.back().changes);
  Trim();
}

void StateLog::Undo() {
  --position;
  --state.step;
  Turn(steps[position], false);
}

void StateLog::Redo() {
  ++state.step;
  Turn(steps[position], true);
  ++position;
}

void StateLog::Turn(Step& step, bool forward) {
  TurnRound(step.changes.elements, state.elementCodes);
  TurnRound(step.changes.switches, state.switchCodes);
  std::swap(step.changes.gone, step.changes.appeared);
  MoveMessages(step.changes, forward);
  SwapMoment(step);
  Paint(step.changes);
}

// Forward, messages go in front and appear at the end; back, the other way round.
void StateLog::MoveMessages(const StateChanges& made, bool forward) {
  std::deque<LiveMessage>& messages = state.messages;
  const auto gone = static_cast<ptrdiff_t>(made.gone.size());
  if (forward) {
    messages.erase(messages.begin(), messages.begin() + gone);
    messages.insert(messages.end(), made.appeared.begin(), made.appeared.end());
  } else {
    messages.erase(messages.end() - gone, messages.end());
    messages.insert(messages.begin(), made.appeared.begin(), made.appeared.end());
  }
}

void StateLog::SwapMoment(Step& step) {
  std::swap(step.last, state.last);
  std::swap(step.cycle, state.cycle);
  std::swap(step.shown, state.shown);
}

// Pieces that nothing has touched have another colour until it rests: those steps are paid in full.
void StateLog::Paint(const StateChanges& made) {
  changes = &made;
  const Color element = UntouchedElementColor(state.step);
  if (elementPalette[ElementCodes::UNTOUCHED] != element) {
    elementPalette[ElementCodes::UNTOUCHED] = element;
    PaintUntouched(state.elementCodes, elementPalette, state.elements);
  }
  const Color filed = UntouchedSwitchColor(state.step);
  if (switchPalette[SwitchCodes::UNTOUCHED] != filed) {
    switchPalette[SwitchCodes::UNTOUCHED] = filed;
    PaintUntouched(state.switchCodes, switchPalette, state.switches);
  }
  PaintChanged(made.elements, elementPalette, state.elements);
  PaintChanged(made.switches, switchPalette, state.switches);
}

void StateLog::Trim() {
  while (kept > room && steps.size() > 1) {
    kept -= steps.front().Bytes();
    steps.pop_front();
    --position;
  }
}

}  // namespace marrowfin
