#ifndef TOOLS_PROGRAM_INTERRUPTION_H
#define TOOLS_PROGRAM_INTERRUPTION_H

namespace marrowfin {

// Lets work that has something to clean up end in order when a signal (SIGINT, SIGTERM, SIGHUP)
// would end the process in the middle of it: the signal is noted, the work asks for it and stops,
// and when this object goes the process ends of the signal after all. Signals that are ignored or
// handled stay so. A second signal of the same kind ends the process at once.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  // Whether a signal came since the object was made.
  bool Asked() const;
};

}  // namespace marrowfin

#endif
