#include "measure/PulseCounts.h"

namespace marrowfin {

void PulseCounts::TakeQuiet(uint64_t from, uint64_t to) {
  if (to > from && to - from - 1 > quiet) {
    quiet = to - from - 1;
    quietFirst = from + 1;
  }
}

void PulseCounts::Begin(uint64_t cycle, uint64_t fires) {
  if (busy == 0) {
    first = cycle;
  } else {
    TakeQuiet(last, cycle);
    firstFires = busy == 1 ? lastFires : firstFires;
    peakCycle = PeakCycle();
    peak = Peak();
  }
  ++busy;
  last = cycle;
  lastFires = fires;
}

void PulseCounts::Add(const PulseCounts& later) {
  if (later.busy == 0) {
    return;
  }
  if (busy == 0) {
    *this = later;
    return;
  }
  // The cycle that both have a part of is one.
  const uint64_t fires = later.busy == 1 ? later.lastFires : later.firstFires;
  if (later.first == last) {
    lastFires += fires;
  } else {
    Begin(later.first, fires);
  }
  if (later.busy == 1) {
    return;
  }
  if (later.quiet > quiet) {
    quiet = later.quiet;
    quietFirst = later.quietFirst;
  }
  firstFires = busy == 1 ? lastFires : firstFires;
  peakCycle = PeakCycle();
  peak = Peak();
  if (later.peak > peak) {
    peak = later.peak;
    peakCycle = later.peakCycle;
  }
  busy += later.busy - 1;
  last = later.last;
  lastFires = later.lastFires;
}

}  // namespace marrowfin
