#include "explorer/core/EventCounters.h"

#include <algorithm>

namespace marrowfin {

std::unique_ptr<EventCounters::Kept> EventCounters::Take(const EventFilter& filter) {
  {
    const std::lock_guard lock(mutex);
    const auto found = std::find_if(idle.begin(), idle.end(),
                                    [&](const auto& kept) { return kept->filter == filter; });
    if (found != idle.end()) {
      std::unique_ptr<Kept> kept = std::move(*found);
      idle.erase(found);
      return kept;
    }
  }
  return std::make_unique<Kept>(trace, another(), filter);
}

void EventCounters::Put(std::unique_ptr<Kept> kept) {
  const std::lock_guard lock(mutex);
  idle.push_front(std::move(kept));
  if (idle.size() > MOST) {
    idle.pop_back();
  }
}

}  // namespace marrowfin
