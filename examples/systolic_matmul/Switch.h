#ifndef EXAMPLES_SYSTOLIC_MATMUL_SWITCH_H
#define EXAMPLES_SYSTOLIC_MATMUL_SWITCH_H

#include "Messages.h"
#include "Trace.h"

namespace marrowfin::systolic {

// The network switch of a cluster: forwards the operands that leave the cluster.
class Switch : public Component {
 public:
  Switch(const Location& location, Trace& trace)
      : Component("switch"), location(location), trace(trace) {
    AddStat(&transmissions, "transmissions", "operands that left the cluster", 0);
    AddStat(&load, "load", "operands that left the cluster in a cycle", Histogram());
  }

  void ReceiveMessage(Message* m) override {
    CheckReceive(m);
    Operand& operand = dynamic_cast<Operand&>(*m);
    ++transmissions;
    ++thisCycle;
    trace.Transmit(operand.tile.thread, location);
    SendMessage(operand.destination, &operand);
  }

  // Ends a cycle.
  void Step() {
    load.Increment(thisCycle, 1);
    thisCycle = 0;
  }
  bool IsClocked() override { return true; }

  const Location location;

 private:
  Trace& trace;
  unsigned long long transmissions;
  Histogram load;
  unsigned thisCycle = 0;  // transmissions
};

}  // namespace marrowfin::systolic

#endif
