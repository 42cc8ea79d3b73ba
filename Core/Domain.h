#ifndef CORE_DOMAIN_H
#define CORE_DOMAIN_H

#include "Util/Types.h"

// A clock domain: the clock that its components share.
//
// Time is counted in ticks of the simulation's base clock. The domain's clock has an edge at
// `phase`, at `phase` + `period`, and so on; its current cycle is the number of edges seen so far.
class Domain {
 public:
  // `period` is at least 1 (asserted); both are in ticks.
  explicit Domain(Cycle period = 1, Cycle phase = 0);

  Cycle GetPeriod() const;
  Cycle GetPhase() const;

  // Whether the clock has an edge at tick `time`.
  bool HasEdgeAt(Cycle time) const;

  // The tick of edge number `cycle`, counted from 0; modulo 2^64.
  Cycle TimeOf(Cycle cycle) const;

  // The cycles completed so far: 0 before the first Advance.
  Cycle GetCurrentCycle() const;

  // Goes on to the next cycle. Whoever runs the simulation calls it at each edge.
  void Advance();

 private:
  Cycle period;
  Cycle phase;
  Cycle currentCycle;
};

#endif
