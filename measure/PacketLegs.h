#ifndef MEASURE_PACKETLEGS_H
#define MEASURE_PACKETLEGS_H

#include <cstddef>
#include <cstdint>
#include <optional>

#include "measure/RecentMap.h"

namespace marrowfin {

// Follows messages through switches, whose transmissions tell the packet that they pass on. Of
// messages sent long ago nothing is kept, so that memory is bounded. Threads: one at a time.
class PacketLegs {
 public:
  // Keeps at least so many of the latest messages.
  explicit PacketLegs(size_t most) : byPacket(most), ends(most) {}

  // A message of a packet was sent.
  void Begin(uint64_t packet, uint64_t message) { byPacket.Put(packet, message); }

  // A switch passed a packet on: the record that went before, where it is known.
  std::optional<uint64_t> GoOn(uint64_t packet, uint64_t record) {
    const std::optional<uint64_t> message = byPacket.Find(packet);
    if (!message) {
      return std::nullopt;
    }
    const uint64_t before = End(*message);
    ends.Put(*message, record);
    return before;
  }

  // The last record of a message's way so far.
  uint64_t End(uint64_t message) const { return ends.Find(message).value_or(message); }

 private:
  RecentMap<uint64_t> byPacket;  // its last message
  RecentMap<uint64_t> ends;      // of messages that passed a switch
};

}  // namespace marrowfin

#endif
