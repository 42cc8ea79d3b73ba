#ifndef SIM_PROGRESS_H
#define SIM_PROGRESS_H

#include <chrono>

#include "Util/Types.h"

namespace marrowfin::sim {

// How far a run has come.
struct ProgressState {
  Cycle cycles;
  unsigned long long events;
  double share;  // from 0 to 1; negative where it is not known
};

// A line on the terminal that is rewritten a few times a second. Standard error carries it, so that
// it never mixes with a report; where that is no terminal, nothing is written at all.
class Progress {
 public:
  Progress();

  // Whether it is time to show the state: false at nearly every call, and cheap.
  bool IsDue();
  void Show(const ProgressState& state);

  // Removes the line, so that what is printed next stands alone.
  void Clear();

 private:
  typedef std::chrono::steady_clock Clock;

  bool isTerminal;
  bool isShown;
  unsigned callsLeft;  // until the clock is looked at again
  Clock::time_point start;
  Clock::time_point next;
};

}  // namespace marrowfin::sim

#endif
