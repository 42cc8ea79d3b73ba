#ifndef SIM_INTERRUPTS_H
#define SIM_INTERRUPTS_H

namespace marrowfin::sim {

// The signals that ask a run to end: SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGXCPU.
//
// Before the run they end the program at once, with the verdict. During the run they are noted, and
// the run looks between two cycles: there all records are whole and all statistics agree. Ending
// the program where the signal finds it, as the handler of the regression verdict does, would need
// the signals blocked, which costs two system calls a cycle.
//
// There is one at a time, made after Regression::Initialize, whose handler of SIGINT it replaces.
class Interrupts {
 public:
  // Takes the signals over. One that is ignored when the program starts, as SIGHUP is under nohup,
  // stays ignored; but SIGINT and SIGQUIT do not, which shells ignore for all that they start in
  // the background.
  Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  // From now on signals are noted. Writes to a pipe whose reader has stopped reading wait on at the
  // first one and are given up, with EINTR, at the second one.
  void Hold();

  // The name of the signal that was noted first, or null.
  const char* Noted() const;
};

}  // namespace marrowfin::sim

#endif
