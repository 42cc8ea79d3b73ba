#ifndef MEASURE_PACKETCOUNTS_H
#define MEASURE_PACKETCOUNTS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

#include "measure/Distribution.h"
#include "measure/LatencyWindows.h"
#include "measure/Timeline.h"
#include "trace/base/Place.h"

namespace marrowfin {

// What an event is to its packet.
enum class PacketRole {
  HOP,    // it went over a link
  OTHER,  // of no concern, as the flits behind a head
  ENTRY,  // it came into the network
  EXIT,   // it left it
  FIRE,   // the first of these is the entry, the second the exit
  SEND,   // the first of these is the entry, the others went over a link
};

// What is said of a packet by the event with which it enters.
struct PacketEntry {
  uint64_t sort = 0;    // for whom it matters, of which sort it is
  bool counted = true;  // whether it is among those that are asked for
};

// A packet that reached its end.
struct PacketLife {
  uint64_t packet = 0;
  std::optional<uint64_t> created;  // cycles
  uint64_t injected = 0;
  uint64_t ejected = 0;
  uint64_t hops = 0;
  Place from;                      // where it entered
  Place to;                        // where it left
  std::optional<uint64_t> hopped;  // cycle of the last hop so far
  PacketEntry entry;               // what the caller said of it

  uint64_t Latency() const { return ejected - injected; }
};

// Follows packets through the events of a run, in order of the trace. A packet begins at its entry;
// one that enters again behind its exit is another one of the same number. Memory follows the
// packets under way.
class PacketCounts {
 public:
  // The smallest of 1, 2 and 5 times a power of ten that makes at most 20 windows of a range.
  static TimeColumns Windows(uint64_t first, uint64_t last);

  explicit PacketCounts(const TimeColumns& windows);

  // Packets of which all is kept, those with the highest latencies.
  static constexpr size_t MOST_SLOWEST = 10;

  // An event of a packet: its cycle and place, when the packet was created where that is told, and
  // what it says of the packet if this is its entry. The packet, where this is its exit and it is
  // counted.
  std::optional<PacketLife> Add(uint64_t packet, uint64_t cycle, PacketRole role,
                                std::optional<uint64_t> created, Place at = {},
                                PacketEntry entry = {});

  uint64_t Delivered() const { return latencies.Size(); }
  uint64_t UnderWay() const { return journeys.size() - passedOver; }

  const ValueCounts& Latencies() const { return latencies; }      // exit - entry
  const ValueCounts& TotalLatencies() const { return total; }     // exit - created
  const ValueCounts& SourceWaits() const { return sourceWaits; }  // entry - created
  const ValueCounts& Hops() const { return hops; }
  const ValueCounts& Distances() const { return distances; }  // columns and rows, entry to exit

  // From each hop of a packet to the next one, or to its exit, also of packets under way.
  const ValueCounts& HopTimes() const { return hopTimes; }

  // The slowest packets that arrived, the slowest first, of equally slow ones that which arrived
  // first.
  const std::vector<PacketLife>& SlowestOnes() const { return slowest; }

  // The first of them, good until the next event; null where none arrived.
  const PacketLife* Slowest() const { return slowest.empty() ? nullptr : slowest.data(); }

  // By the cycle of entry. Where packets tell when they were created, the same from creation to
  // exit, by the cycle of creation: those alone grow where queues of sources do.
  const LatencyWindows& SinceInjection() const { return sinceInjection; }
  const LatencyWindows& SinceCreation() const { return sinceCreation; }
  const std::vector<LatencyWindow>& Windows() const { return sinceInjection.All(); }
  std::optional<uint64_t> Onset() const { return sinceInjection.Onset(); }
  std::optional<uint64_t> EarlyPercentile() const { return sinceInjection.EarlyPercentile(); }

 private:
  void Enter(uint64_t packet, uint64_t cycle, PacketRole role, std::optional<uint64_t> created,
             Place at, PacketEntry entry);
  void Hop(PacketLife& life, uint64_t cycle);
  void Arrive(const PacketLife& life);

  std::unordered_map<uint64_t, PacketLife> journeys;  // under way
  size_t passedOver = 0;                              // of them, that are not counted
  ValueCounts latencies;
  ValueCounts total;
  ValueCounts sourceWaits;
  ValueCounts hops;
  ValueCounts distances;
  ValueCounts hopTimes;
  std::vector<PacketLife> slowest;
  LatencyWindows sinceInjection;
  LatencyWindows sinceCreation;
};

}  // namespace marrowfin

#endif
