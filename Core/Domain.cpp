#include "Core/Domain.h"

#include "Util/Assert.h"

Domain::Domain(Cycle period, Cycle phase) : period(period), phase(phase), currentCycle(0) {
  SIM_ASSERT(period > 0);
}

Cycle Domain::GetPeriod() const { return period; }

Cycle Domain::GetPhase() const { return phase; }

bool Domain::HasEdgeAt(Cycle time) const { return time >= phase && (time - phase) % period == 0; }

Cycle Domain::TimeOf(Cycle cycle) const { return phase + cycle * period; }

Cycle Domain::GetCurrentCycle() const { return currentCycle; }

void Domain::Advance() { ++currentCycle; }
