#include "sim/Scheduler.h"

#include <algorithm>

#include "Util/Assert.h"

namespace marrowfin::sim {

Scheduler::Scheduler(Cycle longestDelay)
    : wheel(longestDelay + 1), wishes(0), unitCount(0), ticks(0) {}

void Scheduler::Add(Clocked* unit) { unit->number = unitCount++; }

void Scheduler::Wake(Clocked* unit, Cycle at) {
  SIM_ASSERT(at > Now() && at - Now() < wheel.size());
  if (unit->lastWish != at) {
    unit->lastWish = at;
    WishesFor(at).push_back(unit);
    ++wishes;
  }
}

void Scheduler::RunCycle() {
  SIM_ASSERT(HasWork());
  do {
    clock.Advance();
  } while (WishesFor(Now()).empty());
  running.clear();
  running.swap(WishesFor(Now()));
  wishes -= running.size();
  std::sort(running.begin(), running.end(),
            [](const Clocked* a, const Clocked* b) { return a->number < b->number; });
  running.erase(std::unique(running.begin(), running.end()), running.end());
  ticks += running.size();
  for (Clocked* unit : running) {
    unit->Tick(Now());
  }
}

}  // namespace marrowfin::sim
