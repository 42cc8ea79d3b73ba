// Linked into every program of a coverage build: writes the line counts before a process ends
// through abort or through the signal that terminates a viewer.

#include <dlfcn.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

extern "C" void __gcov_dump();
extern "C" void __gcov_reset();

namespace {

// The counts start at zero again, so that what runs later (a handler of SIGABRT that exits) is
// added when the process ends, and nothing is counted twice.
void WriteCounts() {
  __gcov_dump();
  __gcov_reset();
}

void WriteCountsAndTerminate(int signal) {
  WriteCounts();
  ::signal(signal, SIG_DFL);
  raise(signal);
}

[[gnu::constructor]] void CatchTermination() { signal(SIGTERM, WriteCountsAndTerminate); }

}  // namespace

extern "C" [[noreturn]] void abort() {
  WriteCounts();
  auto* const realAbort = reinterpret_cast<void (*)()>(dlsym(RTLD_NEXT, "abort"));
  realAbort();
  _exit(127);
}
