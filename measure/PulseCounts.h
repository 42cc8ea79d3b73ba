#ifndef MEASURE_PULSECOUNTS_H
#define MEASURE_PULSECOUNTS_H

#include <cstdint>
#include <initializer_list>

namespace marrowfin {

// How many fires single cycles have, in a pass from front to back: the busiest cycle, and the
// longest spell without any fire; of the whole array, of one element, or of what else happens in
// cycles. Of a trace whose cycles fall, what follows a fall is a cycle by
// itself.
class PulseCounts {
 public:
  void AddFire(uint64_t cycle) {
    if (busy > 0 && cycle == last) {
      ++lastFires;
    } else {
      Begin(cycle, 1);
    }
  }

  // What came right behind.
  void Add(const PulseCounts& later);

  // The most fires of one cycle, and the first cycle that has them; 0 where there is no fire.
  uint64_t Peak() const { return lastFires > peak ? lastFires : peak; }
  uint64_t PeakCycle() const { return lastFires > peak ? last : peakCycle; }

  // The most cycles in a row without a fire, between two that have one, and the first of them.
  uint64_t Quiet() const { return quiet; }
  uint64_t QuietFirst() const { return quietFirst; }

  // Shows all that was counted, see CountsBytes.
  template <class Visitor>
  void Visit(Visitor& visitor) {
    for (uint64_t* const count : {&busy, &firstFires, &lastFires, &peak}) {
      visitor.Records(*count);
    }
    for (uint64_t* const cycle : {&first, &last, &peakCycle, &quiet, &quietFirst}) {
      visitor.Cycle(*cycle);
    }
  }

  // Cycles that have fires.
  uint64_t BusyCycles() const { return busy; }

 private:
  void Begin(uint64_t cycle, uint64_t fires);
  void TakeQuiet(uint64_t from, uint64_t to);

  uint64_t busy = 0;
  uint64_t first = 0;
  uint64_t firstFires = 0;  // of the first cycle, once there is another
  uint64_t last = 0;
  uint64_t lastFires = 0;  // of the last cycle, to which more may come
  uint64_t peak = 0;       // of all cycles before the last
  uint64_t peakCycle = 0;
  uint64_t quiet = 0;
  uint64_t quietFirst = 0;
};

}  // namespace marrowfin

#endif
