#include "measure/LatencyWindows.h"

#include <algorithm>

namespace marrowfin {
namespace {

constexpr size_t WINDOWS_IN_A_ROW = 3;
constexpr uint32_t ONSET_PERCENT = 95;

uint64_t MedianOf(std::vector<uint64_t> values) {
  std::sort(values.begin(), values.end());
  return values[(values.size() - 1) / 2];
}

}  // namespace

LatencyWindows::LatencyWindows(const TimeColumns& columns) : columns(columns) {
  for (size_t i = 0; i < columns.Count(); ++i) {
    LatencyWindow window;
    window.firstCycle = columns.FirstOf(i);
    window.lastCycle = window.firstCycle + columns.WidthOf(i) - 1;
    windows.push_back(window);
  }
}

LatencyWindow* LatencyWindows::WindowOf(uint64_t cycle) {
  if (cycle < columns.first || cycle > columns.last) {
    return nullptr;
  }
  return &windows[static_cast<size_t>((cycle - columns.first) / columns.width)];
}

void LatencyWindows::Begin(uint64_t cycle) {
  if (LatencyWindow* const window = WindowOf(cycle)) {
    ++window->injected;
  }
}

void LatencyWindows::Arrive(uint64_t begin, uint64_t latency) {
  if (LatencyWindow* const window = WindowOf(begin)) {
    window->latencies.Add(latency);
  }
}

std::optional<uint64_t> LatencyWindows::EarlyPercentile() const {
  std::vector<uint64_t> early;
  for (size_t i = 0; i < (windows.size() + 3) / 4; ++i) {
    if (const std::optional<uint64_t> value = windows[i].latencies.Percentile(ONSET_PERCENT)) {
      early.push_back(*value);
    }
  }
  return early.empty() ? std::nullopt : std::optional(MedianOf(early));
}

std::optional<uint64_t> LatencyWindows::Onset() const {
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
