#include "sim/Unit.h"

namespace marrowfin::sim {

Unit::Unit(const std::string& name, Scheduler& scheduler)
    : Component(name.c_str()), scheduler(scheduler) {
  scheduler.Add(this);
  JoinDomain(scheduler.Clock());
}

bool Unit::IsClocked() { return true; }

void Unit::WakeAt(Cycle at) { scheduler.Wake(this, at); }

Cycle Unit::Now() const { return scheduler.Now(); }

void Adopt(Component* parent, Component* child) {
  parent->AddChild(child);
  child->theFullName = parent->theFullName + "/" + child->theName;
  child->FixUpStatNames();
  child->FixUpCommandLineOptions();
}

}  // namespace marrowfin::sim
