// Linked into programs with a window in a coverage build: they are closed by a signal, which they
// leave alone. Programs that look at how a signal is handled must not find this.

#include <csignal>

#include "tests/coverage/KeepCounts.h"

namespace {

void WriteCountsAndTerminate(int signal) {
  WriteCounts();
  ::signal(signal, SIG_DFL);
  raise(signal);
}

[[gnu::constructor]] void CatchTermination() { signal(SIGTERM, WriteCountsAndTerminate); }

}  // namespace
