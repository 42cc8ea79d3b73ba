#ifndef SIM_SCHEDULER_H
#define SIM_SCHEDULER_H

#include <cstddef>
#include <vector>

#include "Core/Domain.h"
#include "Util/Types.h"

namespace marrowfin::sim {

// What a scheduler runs.
class Clocked {
 public:
  // One cycle's work.
  virtual void Tick(Cycle now) = 0;

  virtual ~Clocked() = default;

 private:
  friend class Scheduler;

  uint32 number = 0;   // set by the scheduler; the order within a cycle
  Cycle lastWish = 0;  // the cycle asked for last
};

// Runs the units that have something to do, cycle by cycle.
//
// A unit that expects work asks to be woken; all others cost nothing. The wishes lie in a wheel
// with one list a cycle, which is as long as the longest delay: a priority queue was rejected,
// since nearly every wish is for the next cycle. Within a cycle the units run in the order of their
// numbers, so that the trace does not depend on who woke whom first.
class Scheduler {
 public:
  // `longestDelay` is the furthest that a wish may lie ahead, in cycles.
  explicit Scheduler(Cycle longestDelay);

  // Numbers the unit. Called once for each, before it is woken.
  void Add(Clocked* unit);

  // Makes the unit tick at cycle `at`, which lies ahead. A unit ticks at most once a cycle.
  void Wake(Clocked* unit, Cycle at);

  // Whether any unit waits to be woken.
  bool HasWork() const { return wishes != 0; }

  // Goes on to the next cycle that has work, and runs it. There must be some.
  void RunCycle();

  // The ticks of all units so far: what the simulation cost.
  unsigned long long Ticks() const { return ticks; }

  // The clock that all units share.
  Domain* Clock() { return &clock; }

  // The cycle that runs, or the last one that ran; 0 before the first.
  Cycle Now() const { return clock.GetCurrentCycle(); }

 private:
  std::vector<Clocked*>& WishesFor(Cycle cycle) { return wheel[cycle % wheel.size()]; }

  Domain clock;  // of all units
  std::vector<std::vector<Clocked*>> wheel;
  std::vector<Clocked*> running;  // the list of this cycle, kept to reuse its storage
  size_t wishes;                  // in all lists of the wheel
  uint32 unitCount;
  unsigned long long ticks;
};

}  // namespace marrowfin::sim

#endif
