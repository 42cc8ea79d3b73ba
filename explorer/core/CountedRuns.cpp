#include "explorer/core/CountedRuns.h"

#include <algorithm>
#include <utility>

namespace marrowfin {

std::shared_ptr<const RunCounts> CountedRuns::Find(const RunPart& part) {
  const std::lock_guard lock(mutex);
  const auto found =
      std::find_if(kept.begin(), kept.end(), [&](const Kept& one) { return one.part == part; });
  if (found == kept.end()) {
    return nullptr;
  }
  kept.splice(kept.begin(), kept, found);
  return found->counts;
}

void CountedRuns::Keep(const RunPart& part, std::shared_ptr<const RunCounts> counts) {
  if (part.shape.Elements() > MOST_ELEMENTS) {
    return;
  }
  const std::lock_guard lock(mutex);
  kept.push_front({part, std::move(counts)});
  if (kept.size() > MOST) {
    kept.pop_back();
  }
}

}  // namespace marrowfin
