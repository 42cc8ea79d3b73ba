#include "explorer/core/FoundCauses.h"

#include <chrono>

namespace marrowfin {

Result<std::shared_ptr<const KeptCauses>> FoundCauses::Get(const ArrayShape& shape,
                                                           const ProgressCallback& progress,
                                                           const FindFunction& find) {
  std::unique_lock lock(mutex, std::defer_lock);
  while (!lock.try_lock_for(std::chrono::milliseconds(20))) {
    if (progress && !progress({})) {
      return CancelledFault("");
    }
  }
  if (kept && keptShape == shape) {
    return kept;
  }
  kept = nullptr;
  Result<std::shared_ptr<const KeptCauses>> found = find();
  if (found) {
    kept = *found;
    keptShape = shape;
  }
  return found;
}

}  // namespace marrowfin
