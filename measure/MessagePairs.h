#ifndef MEASURE_MESSAGEPAIRS_H
#define MEASURE_MESSAGEPAIRS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "measure/RecentMap.h"

namespace marrowfin {

// Pairs messages with the fires that consumed them, of which notes tell, in order of the trace. Of
// a message that is consumed over a million messages later it is no longer known. `What` is what
// the caller wants to know of a message again. Threads: one at a time.
template <class What>
class MessagePairs {
 public:
  void Send(uint64_t record, uint64_t cycle, const What& what) { sent.Put(record, {cycle, what}); }

  // Calls `take` with the cycles since each of these messages was sent, its record, and what was
  // said of it. Cycles may fall: a message that was sent later than the fire is left out.
  template <class Take>
  void Fire(uint64_t cycle, std::span<const uint64_t> consumed, Take take) const {
    for (const uint64_t record : consumed) {
      const std::optional<Message> message = sent.Find(record);
      if (message && cycle >= message->cycle) {
        take(cycle - message->cycle, record, message->what);
      }
    }
  }

 private:
  static constexpr size_t KEPT = 1 << 20;

  struct Message {
    uint64_t cycle = 0;
    What what;
  };

  RecentMap<Message> sent{KEPT};
};

}  // namespace marrowfin

#endif
