#ifndef TOOLS_PROGRAM_INTERRUPTION_H
#define TOOLS_PROGRAM_INTERRUPTION_H

namespace marrowfin {

// Makes this file the one owner of the signals that end the program: call it once, at the start of
// main. From then on SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU and SIGPIPE remove the temporaries
// of all open outputs before the process ends of them, so that its status is the one that shells
// expect; and work may ask for all but the last to wait (Interruption). Signals that are ignored,
// as nohup does, or handled stay so.
void OwnEndingSignals();

// Lets work that has something to finish or to clean up end in order: while such an object lives, a
// signal that would end the process is noted, the work asks for it and stops, and when the last of
// these objects goes the process ends of the signal after all. A second signal of the same kind
// ends the process at once, and so does a pipe that nobody reads any more.
class Interruption {
 public:
  Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;
  ~Interruption();

  // Whether a signal came since the object was made, or waited when it was.
  bool Asked() const;
};

}  // namespace marrowfin

#endif
