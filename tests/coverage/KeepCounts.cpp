// Linked into every program of a coverage build: writes the line counts before a process ends
// through abort or through a signal that it sends to itself.

#include "tests/coverage/KeepCounts.h"

#include <dlfcn.h>
#include <unistd.h>

#include <csignal>

extern "C" void __gcov_dump();
extern "C" void __gcov_reset();

// The counts start at zero again, so that what runs later (a handler of SIGABRT that exits) is
// added when the process ends, and nothing is counted twice.
void WriteCounts() {
  __gcov_dump();
  __gcov_reset();
}

extern "C" [[noreturn]] void abort() {
  WriteCounts();
  auto* const realAbort = reinterpret_cast<void (*)()>(dlsym(RTLD_NEXT, "abort"));
  realAbort();
  _exit(127);
}

extern "C" int raise(int signal) noexcept {
  WriteCounts();
  auto* const realRaise = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "raise"));
  return realRaise(signal);
}
