#include "measure/PacketCounts.h"

#include <algorithm>

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

void PacketCounts::Enter(uint64_t packet, uint64_t cycle, PacketRole role,
                         std::optional<uint64_t> created, Place at, PacketEntry entry) {
  PacketLife life;
  life.from = at;
  life.packet = packet;
  life.injected = cycle;
  life.entry = entry;
  // What lies in the future is no creation.
  if (created && *created <= cycle) {
    life.created = created;
  }
  // A message is on its first link already.
  if (role == PacketRole::SEND) {
    life.hopped = cycle;
  }
  journeys.emplace(packet, life);
  if (!entry.counted) {
    ++passedOver;
    return;
  }
  sinceInjection.Begin(cycle);
  if (life.created) {
    sinceCreation.Begin(*life.created);
  }
}

void PacketCounts::Hop(PacketLife& life, uint64_t cycle) {
  if (life.entry.counted && life.hopped && cycle >= *life.hopped) {  // cycles may fall
    hopTimes.Add(cycle - *life.hopped);
  }
}

void PacketCounts::Arrive(const PacketLife& life) {
  latencies.Add(life.Latency());
  hops.Add(life.hops);
  distances.Add(Apart(life.from.column, life.to.column) + Apart(life.from.row, life.to.row));
  if (life.created) {
    total.Add(life.ejected - *life.created);
    sourceWaits.Add(life.injected - *life.created);
    sinceCreation.Arrive(*life.created, life.ejected - *life.created);
  }
  const auto slower = std::upper_bound(
      slowest.begin(), slowest.end(), life,
      [](const PacketLife& a, const PacketLife& b) { return a.Latency() > b.Latency(); });
  if (slower != slowest.end() || slowest.size() < MOST_SLOWEST) {
    slowest.insert(slower, life);
    slowest.resize(std::min(slowest.size(), MOST_SLOWEST));
  }
  sinceInjection.Arrive(life.injected, life.Latency());
}

std::optional<PacketLife> PacketCounts::Add(uint64_t packet, uint64_t cycle, PacketRole role,
                                            std::optional<uint64_t> created, Place at,
                                            PacketEntry entry) {
  const auto found = journeys.find(packet);
  if (found == journeys.end()) {
    // Of a range that begins in the middle of a run some packets have no entry.
    if (role == PacketRole::ENTRY || role == PacketRole::FIRE || role == PacketRole::SEND) {
      Enter(packet, cycle, role, created, at, entry);
    }
    return std::nullopt;
  }
  PacketLife& life = found->second;
  if (role == PacketRole::HOP || role == PacketRole::SEND) {
    ++life.hops;
    Hop(life, cycle);
    life.hopped = cycle;
  }
  if (role != PacketRole::EXIT && role != PacketRole::FIRE) {
    return std::nullopt;
  }
  Hop(life, cycle);
  life.ejected = cycle;
  life.to = at;
  const PacketLife left = life;
  journeys.erase(found);
  if (!left.entry.counted) {
    --passedOver;
    return std::nullopt;
  }
  if (cycle < left.injected) {  // cycles may fall
    return std::nullopt;
  }
  Arrive(left);
  return left;
}

}  // namespace marrowfin
