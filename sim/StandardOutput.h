#ifndef SIM_STANDARDOUTPUT_H
#define SIM_STANDARDOUTPUT_H

namespace marrowfin::sim {

// Whether all that was printed has reached the standard output, as far as the system has told.
bool IsOutputWritten();

// Whether the standard output is a pipe that nobody reads any more, as behind `| head`. Then there
// is nothing to complain of.
bool IsReaderGone();

}  // namespace marrowfin::sim

#endif
