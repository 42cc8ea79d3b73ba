#include "trace/ask/StateLog.h"

#include <algorithm>
#include <array>
#include <utility>

namespace marrowfin {

namespace {

typedef std::array<Color, LAST_MESSAGE_AGE + 1> MessagePalette;

MessagePalette MessageColors() {
  MessagePalette colors;
  for (uint64_t age = 0; age < colors.size(); ++age) {
    colors[age] = MessageColor(age);
  }
  return colors;
}

const MessagePalette& Messages() {
  static const MessagePalette colors = MessageColors();
  return colors;
}

LiveMessage Aged(LiveMessage message, uint64_t age) {
  message.age = age;
  message.color = Messages()[age];
  return message;
}

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

void StateLog::Gathered::Touch(size_t number, uint32_t thread, unsigned threads) {
  if (marks[number] == 0) {
    touched.push_back(static_cast<uint32_t>(number));
  }
  marks[number] = static_cast<uint8_t>(1 + thread % threads);
}

void StateLog::Gathered::Clear() {
  for (const uint32_t number : touched) {
    marks[number] = 0;
  }
  touched.clear();
}

size_t StateLog::Step::Bytes() const {
  return sizeof(Step) + BytesOf(changes.elements) + BytesOf(changes.switches) +
         BytesOf(changes.gone) + BytesOf(changes.appeared);
}

StateLog::StateLog(ArrayState start, size_t room)
    : state(std::move(start)),
      room(room),
      changes(&none),
      elementPalette(ElementPaletteAt(state.step)),
      switchPalette(SwitchPaletteAt(state.step)) {
  fires.marks.assign(state.elementCodes.size(), 0);
  transmissions.marks.assign(state.switchCodes.size(), 0);
}

void StateLog::Fire(Place at, uint32_t thread) {
  fires.Touch(state.shape.ElementNumber(at), thread, ElementCodes::THREADS);
}

void StateLog::Transmit(Place at, uint32_t thread) {
  transmissions.Touch(state.shape.SwitchNumber(at), thread, SwitchCodes::THREADS);
}

void StateLog::Send(uint64_t record, uint32_t thread, Place from, Place to) {
  sent.push_back({record, thread, from, to, 0, Messages()[0]});
}

void StateLog::Drop() {
  fires.Clear();
  transmissions.Clear();
  sent.clear();
}

// What is gathered and what fades, of which a piece may be both. `before` are the changes of the
// step before, null where they are not known.
template <class Codes>
void StateLog::Change(Gathered& gathered, const std::vector<PieceChange>* before,
                      std::vector<uint8_t>& codes, std::vector<PieceChange>& made) const {
  const auto fade = [&](size_t number) {
    const uint8_t code = codes[number];
    if (Codes::Fades(code) && gathered.marks[number] == 0) {
      codes[number] = static_cast<uint8_t>(code + 1);
      made.push_back({static_cast<uint32_t>(number), code, codes[number]});
    }
  };
  made.reserve(gathered.touched.size() + (before != nullptr ? before->size() : 0));
  if (before != nullptr) {
    for (const PieceChange& change : *before) {
      fade(change.number);
    }
  } else {
    for (size_t number = 0; number < codes.size(); ++number) {
      fade(number);
    }
  }
  for (const uint32_t number : gathered.touched) {
    const uint8_t code = Codes::Encode(gathered.marks[number] - 1U, 0);
    made.push_back({number, codes[number], code});
    codes[number] = code;
  }
  gathered.Clear();
}

void StateLog::Commit(uint64_t last, uint64_t cycle, bool shown) {
  const StateChanges* before = steps.empty() ? nullptr : &steps.back().changes;
  Step step;
  Change<ElementCodes>(fires, before != nullptr ? &before->elements : nullptr, state.elementCodes,
                       step.changes.elements);
  Change<SwitchCodes>(transmissions, before != nullptr ? &before->switches : nullptr,
                      state.switchCodes, step.changes.switches);
  const auto staying =
      std::find_if(state.messages.begin(), state.messages.end(),
                   [](const LiveMessage& message) { return message.age < LAST_MESSAGE_AGE; });
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

// Forward, messages go in front and appear at the end, and all others get a step older; back, the
// other way round.
void StateLog::MoveMessages(const StateChanges& made, bool forward) {
  std::vector<LiveMessage>& messages = state.messages;
  const size_t staying = messages.size() - made.gone.size();
  if (forward) {
    for (size_t i = 0; i < staying; ++i) {
      const LiveMessage& message = messages[i + made.gone.size()];
      messages[i] = Aged(message, message.age + 1);
    }
    messages.resize(staying);
    messages.insert(messages.end(), made.appeared.begin(), made.appeared.end());
    return;
  }
  messages.resize(staying + made.appeared.size());
  for (size_t i = staying; i > 0; --i) {
    const LiveMessage& message = messages[i - 1];
    messages[i - 1 + made.appeared.size()] = Aged(message, message.age - 1);
  }
  std::copy(made.appeared.begin(), made.appeared.end(), messages.begin());
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
