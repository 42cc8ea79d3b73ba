#ifndef MEASURE_LATENCYWINDOWS_H
#define MEASURE_LATENCYWINDOWS_H

#include <cstdint>
#include <optional>
#include <vector>

#include "measure/Distribution.h"
#include "measure/Timeline.h"

namespace marrowfin {

// Packets whose time begins in a window of cycles.
struct LatencyWindow {
  uint64_t firstCycle = 0;
  uint64_t lastCycle = 0;
  ValueCounts latencies;  // of those that arrived
  uint64_t injected = 0;  // all of them

  // Over one in a hundred of them is still under way, so percentiles are too low.
  bool IsIncomplete() const { return (injected - latencies.Size()) * 100 > injected; }
};

// Latencies over time. What begins outside the windows belongs to none.
class LatencyWindows {
 public:
  explicit LatencyWindows(const TimeColumns& columns);

  // A packet whose time begins at a cycle; the same where it has arrived.
  void Begin(uint64_t cycle);
  void Arrive(uint64_t begin, uint64_t latency);

  const TimeColumns& Columns() const { return columns; }
  const std::vector<LatencyWindow>& All() const { return windows; }

  // The first cycle of the first of three windows in a row whose 95th percentile is more than twice
  // the median of the 95th percentiles of the first quarter of all windows: a convention for where
  // the network saturates. Nothing where none does, or there are too few packets to tell.
  std::optional<uint64_t> Onset() const;

  // That median: half of what the 95th percentile is more than from the onset on.
  std::optional<uint64_t> EarlyPercentile() const;

 private:
  LatencyWindow* WindowOf(uint64_t cycle);

  TimeColumns columns;
  std::vector<LatencyWindow> windows;
};

}  // namespace marrowfin

#endif
