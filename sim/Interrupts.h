#ifndef SIM_INTERRUPTS_H
#define SIM_INTERRUPTS_H

namespace marrowfin::sim {

// Holds SIGINT back from its construction on, but for the moments that the run chooses.
//
// The handler of the regression verdict prints and ends the program right where the signal finds
// it. Between two cycles all records are whole and all statistics agree; nowhere else may it
// strike.
class Interrupts {
 public:
  Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  // Lets the signal through again.
  ~Interrupts();

  // Delivers a signal that waits. Does not return if there is one.
  void Deliver();

  // Lets the signal through, and holds it back again.
  void Allow();
  void Hold();
};

}  // namespace marrowfin::sim

#endif
