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

// The messages of one state that the other has not.
std::vector<LiveMessage> Missing(const std::vector<LiveMessage>& messages,
                                 const std::vector<LiveMessage>& others) {
  std::vector<LiveMessage> missing;
  std::set_difference(
      messages.begin(), messages.end(), others.begin(), others.end(), std::back_inserter(missing),
      [](const LiveMessage& a, const LiveMessage& b) { return a.record < b.record; });
  return missing;
}

}  // namespace

StateChanges Difference(const ArrayState& before, const ArrayState& after) {
  StateChanges changes;
  changes.elements = PieceDifference(before.elementCodes, after.elementCodes);
  changes.switches = PieceDifference(before.switchCodes, after.switchCodes);
  changes.gone = Missing(before.messages, after.messages);
  changes.appeared = Missing(after.messages, before.messages);
  return changes;
}

}  // namespace marrowfin
