#include "trace/ask/ArrayState.h"

#include <algorithm>
#include <iterator>

namespace marrowfin {

namespace {

std::vector<PieceChange> PieceDifference(const std::vector<uint8_t>& before,
                                         const std::vector<uint8_t>& after) {
  std::vector<PieceChange> changes;
  for (size_t number = 0; number < after.size(); ++number) {
    if (before[number] != after[number]) {
      changes.push_back({static_cast<uint32_t>(number), before[number], after[number]});
    }
  }
  return changes;
}

template <class Palette>
std::vector<Color> Painted(const std::vector<uint8_t>& codes, const Palette& palette) {
  std::vector<Color> colors(codes.size());
  std::transform(codes.begin(), codes.end(), colors.begin(),
                 [&](uint8_t code) { return palette[code]; });
  return colors;
}

// The messages of one state that the other has not.
std::vector<LiveMessage> Missing(const std::deque<LiveMessage>& messages,
                                 const std::deque<LiveMessage>& others) {
  std::vector<LiveMessage> missing;
  std::set_difference(
      messages.begin(), messages.end(), others.begin(), others.end(), std::back_inserter(missing),
      [](const LiveMessage& a, const LiveMessage& b) { return a.record < b.record; });
  return missing;
}

}  // namespace

ArrayState AsBuilt(const ArrayShape& shape) {
  ArrayState state;
  state.shape = shape;
  state.elementCodes.assign(shape.Elements(), ElementCodes::UNTOUCHED);
  state.switchCodes.assign(shape.Switches(), SwitchCodes::UNTOUCHED);
  Paint(state);
  return state;
}

void Paint(ArrayState& state) {
  state.elements = Painted(state.elementCodes, ElementPaletteAt(state.step));
  state.switches = Painted(state.switchCodes, SwitchPaletteAt(state.step));
}

StateChanges Difference(const ArrayState& before, const ArrayState& after) {
  StateChanges changes;
  changes.elements = PieceDifference(before.elementCodes, after.elementCodes);
  changes.switches = PieceDifference(before.switchCodes, after.switchCodes);
  changes.gone = Missing(before.messages, after.messages);
  changes.appeared = Missing(after.messages, before.messages);
  return changes;
}

}  // namespace marrowfin
