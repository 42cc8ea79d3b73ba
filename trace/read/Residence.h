#ifndef TRACE_READ_RESIDENCE_H
#define TRACE_READ_RESIDENCE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace marrowfin {

// Keeps few of the pages of a mapped file in the process, however much of it is read: those that
// were used longest ago are handed back, and are fetched again from the system's own cache should
// someone want them after all.
//
// Telling the system to forget pages right behind a reader was rejected: questions come back to
// where the one before was. The chunks are gone round in circles, those not touched since the last
// round go (the clock of page replacement), so that a touch of a chunk that was touched before
// costs a look at one byte. From several threads at a time.
class Residence {
 public:
  static constexpr size_t CHUNK = 4 << 20;  // bytes that come and go together
  static constexpr size_t CHUNKS = 16;      // that stay

  // Of `size` mapped bytes at `memory`, which must outlive it.
  Residence(void* memory, size_t size);

  // To be told before bytes at `offset` and some thousand behind it are read.
  void Touch(uint64_t offset) {
    const size_t chunk = static_cast<size_t>(offset / CHUNK);
    if (states[chunk].load(std::memory_order_relaxed) != TOUCHED) {
      Admit(chunk);
    }
  }

 private:
  enum State : uint8_t { AWAY, OLD, TOUCHED };

  void Admit(size_t chunk);
  void SendOneAway();

  uint8_t* const memory;
  const size_t size;
  std::vector<std::atomic<uint8_t>> states;  // of all chunks
  std::mutex mutex;
  size_t resident = 0;
  size_t hand = 0;  // the chunk that is looked at next
};

}  // namespace marrowfin

#endif
