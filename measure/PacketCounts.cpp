#include "measure/PacketCounts.h"

#include <algorithm>

namespace marrowfin {
namespace {

constexpr size_t MOST_WINDOWS = 20;
constexpr size_t WINDOWS_IN_A_ROW = 3;
constexpr uint32_t ONSET_PERCENT = 95;

uint64_t Apart(uint32_t a, uint32_t b) { return a < b ? b - a : a - b; }

uint64_t MedianOf(std::vector<uint64_t> values) {
  std::sort(values.begin(), values.end());
  return values[(values.size() - 1) / 2];
}

}  // namespace

TimeColumns PacketCounts::Windows(uint64_t first, uint64_t last) {
  return TimeColumns::Round(first, last, MOST_WINDOWS);
}

PacketCounts::PacketCounts(const TimeColumns& columns) : columns(columns) {
  for (size_t i = 0; i < columns.Count(); ++i) {
    LatencyWindow window;
    window.firstCycle = columns.FirstOf(i);
    window.lastCycle = window.firstCycle + columns.WidthOf(i) - 1;
    windows.push_back(window);
  }
}

LatencyWindow* PacketCounts::WindowOf(uint64_t cycle) {
  if (cycle < columns.first || cycle > columns.last) {
    return nullptr;
  }
  return &windows[static_cast<size_t>((cycle - columns.first) / columns.width)];
}

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
  if (LatencyWindow* const window = WindowOf(cycle)) {
    ++window->injected;
  }
}

void PacketCounts::Arrive(const PacketLife& life, Place at) {
  latencies.Add(life.Latency());
  hops.Add(life.hops);
  distances.Add(Apart(life.from.column, at.column) + Apart(life.from.row, at.row));
  if (life.created) {
    total.Add(life.ejected - *life.created);
    sourceWaits.Add(life.injected - *life.created);
  }
  if (!slowest || life.Latency() > slowest->Latency()) {
    slowest = life;
  }
  if (LatencyWindow* const window = WindowOf(life.injected)) {
    window->latencies.Add(life.Latency());
  }
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

std::optional<uint64_t> PacketCounts::EarlyPercentile() const {
  std::vector<uint64_t> early;
  for (size_t i = 0; i < (windows.size() + 3) / 4; ++i) {
    if (const std::optional<uint64_t> value = windows[i].latencies.Percentile(ONSET_PERCENT)) {
      early.push_back(*value);
    }
  }
  return early.empty() ? std::nullopt : std::optional(MedianOf(early));
}

std::optional<uint64_t> PacketCounts::Onset() const {
  const std::optional<uint64_t> limit = EarlyPercentile();
  if (!limit) {
    return std::nullopt;
  }
  size_t inARow = 0;
  for (size_t i = 0; i < windows.size(); ++i) {
    const std::optional<uint64_t> value = windows[i].latencies.Percentile(ONSET_PERCENT);
    inARow = value && *value > *limit && *value - *limit > *limit ? inARow + 1 : 0;
    if (inARow == WINDOWS_IN_A_ROW) {
      return windows[i + 1 - WINDOWS_IN_A_ROW].firstCycle;
    }
  }
  return std::nullopt;
}

}  // namespace marrowfin
