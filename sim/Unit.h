#ifndef SIM_UNIT_H
#define SIM_UNIT_H

#include <string>

#include "Core/Component.h"
#include "Util/Types.h"
#include "sim/Scheduler.h"

namespace marrowfin::sim {

// A component that works in cycles, while it has work.
//
// What a unit does in a cycle must not depend on which units ran before it in the same cycle:
// everything that one unit hands to another takes effect in a later cycle.
class Unit : public Component, public Clocked {
 public:
  Unit(const std::string& name, Scheduler& scheduler);

  bool IsClocked() override;

 protected:
  // Asks for a tick at cycle `at`, which lies ahead.
  void WakeAt(Cycle at);

  // The cycle that runs.
  Cycle Now() const;

 private:
  Scheduler& scheduler;
};

// Makes `child` a child of `parent`, gives it its full name, and its options and statistics theirs.
void Adopt(Component* parent, Component* child);

}  // namespace marrowfin::sim

#endif
