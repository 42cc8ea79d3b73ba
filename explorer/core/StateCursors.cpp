#include "explorer/core/StateCursors.h"

#include <algorithm>
#include <utility>

namespace marrowfin {

// One that stands there, else the one of that shape that was used longest ago, if all are taken.
std::unique_ptr<StateCursors::Placed> StateCursors::FindAt(const Moment& moment,
                                                           const ArrayShape& shape) {
  const std::lock_guard lock(mutex);
  auto found = std::find_if(idle.begin(), idle.end(), [&](const auto& placed) {
    return placed->at == moment && placed->shape == shape;
  });
  if (found == idle.end() && idle.size() >= MOST) {
    const auto last = std::find_if(idle.rbegin(), idle.rend(),
                                   [&](const auto& placed) { return placed->shape == shape; });
    found = last == idle.rend() ? idle.end() : std::prev(last.base());
  }
  if (found == idle.end()) {
    return nullptr;
  }
  std::unique_ptr<Placed> placed = std::move(*found);
  idle.erase(found);
  return placed;
}

Result<std::unique_ptr<StateCursors::Placed>> StateCursors::Take(const Moment& moment,
                                                                 const ArrayShape& shape,
                                                                 const ProgressCallback& progress) {
  std::unique_ptr<Placed> placed = FindAt(moment, shape);
  if (placed && placed->at == moment) {
    return placed;
  }
  if (!placed) {
    placed = std::make_unique<Placed>(trace, another(), shape);
  }
  const Fault fault = moment.natural
                          ? placed->cursor.MoveToCycle(moment.cycle, progress)
                          : placed->cursor.MoveToStep(moment.step, moment.skipTo, progress);
  if (fault) {
    return fault;
  }
  placed->at = moment;
  return placed;
}

void StateCursors::Put(std::unique_ptr<Placed> placed) {
  const ArrayState& state = placed->cursor.State();
  if (placed->at.natural) {
    placed->at.cycle = state.cycle;
  } else {
    placed->at.step = state.step;
  }
  // Before all events the natural reading has no cycle of its own, and where cycles fall the last
  // event that was applied does not tell which one it is at.
  if (placed->at.natural && (state.step == 0 || !placed->index->GetSummary().Ordered())) {
    return;
  }
  const std::lock_guard lock(mutex);
  idle.push_front(std::move(placed));
  if (idle.size() > MOST) {
    idle.pop_back();
  }
}

}  // namespace marrowfin
