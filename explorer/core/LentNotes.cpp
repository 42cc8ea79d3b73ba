#include "explorer/core/LentNotes.h"

#include <chrono>

namespace marrowfin {

LentNotes::LentNotes(std::unique_ptr<KnownNotes> first, AnotherFunction another)
    : another(std::move(another)) {
  idle.reserve(MOST);
  idle.push_back(std::move(first));
}

Result<LentNotes::Lease> LentNotes::Borrow(const ProgressCallback& progress) {
  constexpr std::chrono::milliseconds LOOK(20);
  {
    std::unique_lock lock(mutex);
    while (!back.wait_for(lock, LOOK, [this] { return lent < MOST; })) {
      lock.unlock();
      if (progress && !progress({})) {
        return CancelledFault("");
      }
      lock.lock();
    }
    ++lent;
    if (!idle.empty()) {
      std::unique_ptr<KnownNotes> used = std::move(idle.back());
      idle.pop_back();
      return Lease(*this, std::move(used));
    }
  }
  try {
    return Lease(*this, another());
  } catch (...) {
    Forget();
    throw;
  }
}

void LentNotes::TakeBack(std::unique_ptr<KnownNotes> used) noexcept {
  {
    const std::lock_guard lock(mutex);
    --lent;
    idle.push_back(std::move(used));
  }
  back.notify_one();
}

// One that was to be made and could not be.
void LentNotes::Forget() {
  {
    const std::lock_guard lock(mutex);
    --lent;
  }
  back.notify_one();
}

}  // namespace marrowfin
