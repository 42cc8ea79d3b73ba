#include "trace/read/Residence.h"

#include <sys/mman.h>

#include <algorithm>

namespace marrowfin {

Residence::Residence(void* memory, size_t size)
    : memory(static_cast<uint8_t*>(memory)), size(size), states(size / CHUNK + 1) {}

void Residence::Admit(size_t chunk) {
  const std::lock_guard lock(mutex);
  if (states[chunk].exchange(TOUCHED, std::memory_order_relaxed) == AWAY && ++resident > CHUNKS) {
    SendOneAway();
  }
}

// Some chunk is there, so the hand meets it in its second round at the latest; the one admitted
// right now may be it only where no other is.
void Residence::SendOneAway() {
  for (;; hand = (hand + 1) % states.size()) {
    const uint8_t state = states[hand].load(std::memory_order_relaxed);
    if (state == TOUCHED) {
      states[hand].store(OLD, std::memory_order_relaxed);
    } else if (state == OLD) {
      break;
    }
  }
  states[hand].store(AWAY, std::memory_order_relaxed);
  --resident;
  const size_t offset = hand * CHUNK;
  madvise(memory + offset, std::min(CHUNK, size - offset), MADV_DONTNEED);
}

}  // namespace marrowfin
