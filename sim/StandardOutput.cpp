#include "sim/StandardOutput.h"

#include <poll.h>
#include <unistd.h>

#include <cstdio>

namespace marrowfin::sim {

bool IsOutputWritten() { return fflush(stdout) == 0 && ferror(stdout) == 0; }

bool IsReaderGone() {
  struct pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

}  // namespace marrowfin::sim
