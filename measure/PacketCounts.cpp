#include "measure/PacketCounts.h"

namespace marrowfin {
namespace {

constexpr size_t MOST_WINDOWS = 20;

uint64_t Apart(uint32_t a, uint32_t b) { return a < b ? b - a : a - b; }

}  // namespace

TimeColumns PacketCounts::Windows(uint64_t first, uint64_t last) {
  return TimeColumns::Round(first, last, MOST_WINDOWS);
}

PacketCounts::PacketCounts(const TimeColumns& windows)
    : sinceInjection(windows), sinceCreation(windows) {}

void PacketCounts::Enter(uint64_t packet, uint64_t cycle, std::optional<uint64_t> created,
                         Place at) {
  PacketLife life;
  life.from = at;
  life.packet = packet;
  life.injected = cycle;
  // What lies in the future is no creation.
  if (created && *created <= cycle) {
    life.created = created;
  }
  journeys.emplace(packet, life);
  sinceInjection.Begin(cycle);
  if (life.created) {
    sinceCreation.Begin(*life.created);
  }
}

void PacketCounts::Arrive(const PacketLife& life, Place at) {
  latencies.Add(life.Latency());
  hops.Add(life.hops);
  distances.Add(Apart(life.from.column, at.column) + Apart(life.from.row, at.row));
  if (life.created) {
    total.Add(life.ejected - *life.created);
    sourceWaits.Add(life.injected - *life.created);
    sinceCreation.Arrive(*life.created, life.ejected - *life.created);
  }
  if (!slowest || life.Latency() > slowest->Latency()) {
    slowest = life;
  }
  sinceInjection.Arrive(life.injected, life.Latency());
}

void PacketCounts::Add(uint64_t packet, uint64_t cycle, PacketRole role,
                       std::optional<uint64_t> created, Place at) {
  const auto found = journeys.find(packet);
  if (found == journeys.end()) {
    // Of a range that begins in the middle of a run some packets have no entry.
    if (role == PacketRole::ENTRY || role == PacketRole::FIRE || role == PacketRole::SEND) {
      Enter(packet, cycle, created, at);
    }
    return;
  }
  PacketLife& life = found->second;
  life.hops += role == PacketRole::HOP || role == PacketRole::SEND ? 1 : 0;
  if (role == PacketRole::EXIT || role == PacketRole::FIRE) {
    life.ejected = cycle;
    if (cycle >= life.injected) {  // cycles may fall
      Arrive(life, at);
    }
    journeys.erase(found);
  }
}

}  // namespace marrowfin
