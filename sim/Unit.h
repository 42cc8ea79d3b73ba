#ifndef SIM_UNIT_H
#define SIM_UNIT_H

#include <string>

#include "Core/Component.h"
#include "Util/Types.h"

namespace marrowfin::sim {

class Scheduler;

// A component that works in cycles, while it has work.
//
// What a unit does in a cycle must not depend on which units ran before it in the same cycle:
// everything that one unit hands to another takes effect in a later cycle.
class Unit : public Component {
 public:
  Unit(const std::string& name, Scheduler& scheduler);

  // One cycle's work.
  virtual void Tick(Cycle now) = 0;

  bool IsClocked() override;

 protected:
  // Asks for a tick at cycle `at`, which lies ahead.
  void WakeAt(Cycle at);

  // The cycle that runs.
  Cycle Now() const;

 private:
  friend class Scheduler;

  Scheduler& scheduler;
  uint32 number;   // set by the scheduler; the order within a cycle
  Cycle lastWish;  // the cycle asked for last
};

// Makes `child` a child of `parent`, gives it its full name, and its options and statistics theirs.
void Adopt(Component* parent, Component* child);

}  // namespace marrowfin::sim

#endif
