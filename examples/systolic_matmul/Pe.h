#ifndef EXAMPLES_SYSTOLIC_MATMUL_PE_H
#define EXAMPLES_SYSTOLIC_MATMUL_PE_H

#include "Messages.h"
#include "Trace.h"

namespace marrowfin::systolic {

// A processing element: multiplies the operands that come from west and north, adds the products
// up, and passes the operands on to east and south.
class Pe : public Component {
 public:
  Pe(const std::string& name, const Location& location, Trace& trace);
  ~Pe() override;

  // To whom results go.
  void ConnectHost(Component* host);

  // The neighbour in a direction. Operands for it go by way of `networkSwitch` if there is one.
  void ConnectNeighbour(Operand::Direction direction, Pe* neighbour, Component* networkSwitch);

  // Keeps an operand until the next Step.
  void ReceiveMessage(Message* m) override;

  // One cycle. Call it on both neighbours before: they have room for new operands only then.
  void Step();
  bool IsClocked() override { return true; }

  const Location location;
  unsigned long long multiplications = 0;
  unsigned long long moves = 0;  // of operands to a neighbour

 private:
  // The register of one direction and what lies beyond.
  struct Lane {
    Operand* operand = nullptr;  // held
    Pe* neighbour = nullptr;
    Component* networkSwitch = nullptr;
  };

  void Multiply();
  void PassOn(Lane& lane);

  Trace& trace;
  Component* host = nullptr;
  Lane lanes[2];  // by direction
  long long sum = 0;
  bool faulty;
};

}  // namespace marrowfin::systolic

#endif
