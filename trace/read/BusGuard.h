#ifndef TRACE_READ_BUSGUARD_H
#define TRACE_READ_BUSGUARD_H

#include <csetjmp>
#include <cstddef>

namespace marrowfin {

// Survives the bus error that reading a mapped file raises when someone truncated it meanwhile.
//
// The first use installs a handler of SIGBUS for the process; errors at addresses that no guard of
// the thread covers go on to the handler that was there before. Copying every piece by read()
// instead was rejected: it costs as much again as decoding does.
class BusGuard {
 public:
  // Calls read() and returns true, or returns false where it touched a byte of the `size` bytes at
  // `memory` that the file has no longer. read() is left in the middle then, so it must not own
  // anything that needs a destructor.
  template <class Read>
  static bool Run(const void* memory, size_t size, Read read) {
    Install();
    BusGuard guard(memory, size);
    // The handler puts the mask back; saving it here would take a system call.
    if (sigsetjmp(guard.back, 0) != 0) {
      return false;
    }
    read();
    return true;
  }

 private:
  BusGuard(const void* memory, size_t size);
  ~BusGuard();
  BusGuard(const BusGuard&) = delete;
  BusGuard& operator=(const BusGuard&) = delete;

  static void Install();

  friend struct BusGuardHandler;

  const char* low;
  const char* high;
  BusGuard* outer;
  sigjmp_buf back;
};

}  // namespace marrowfin

#endif
