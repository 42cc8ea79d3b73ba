#include "trace/read/BusGuard.h"

#include <ucontext.h>

#include <csignal>
#include <mutex>

namespace marrowfin {

namespace {

thread_local BusGuard* innermost = nullptr;
struct sigaction before;

}  // namespace

struct BusGuardHandler {
  static void Handle(int signalNumber, siginfo_t* info, void* context) {
    // A signal that another process sent comes without an address.
    const bool raised = info->si_code > 0;
    const char* address = static_cast<const char*>(info->si_addr);
    for (BusGuard* guard = innermost; raised && guard != nullptr; guard = guard->outer) {
      if (address >= guard->low && address < guard->high) {
        // As it was at the fault: not all that stands between the system and a handler leaves the
        // mask to the flags that the handler was installed with.
        pthread_sigmask(SIG_SETMASK, &static_cast<const ucontext_t*>(context)->uc_sigmask, nullptr);
        siglongjmp(guard->back, 1);
      }
    }
    PassOn(signalNumber, info, context);
  }

  static void PassOn(int signalNumber, siginfo_t* info, void* context) {
    if ((before.sa_flags & SA_SIGINFO) != 0) {
      before.sa_sigaction(signalNumber, info, context);
    } else if (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN) {
      before.sa_handler(signalNumber);
    } else if (info->si_code > 0) {
      // The instruction runs again and meets the default action.
      signal(signalNumber, SIG_DFL);
    } else if (before.sa_handler == SIG_DFL) {
      signal(signalNumber, SIG_DFL);
      raise(signalNumber);
    }
  }
};

BusGuard::BusGuard(const void* memory, size_t size)
    : low(static_cast<const char*>(memory)), high(low + size), outer(innermost) {
  innermost = this;
}

BusGuard::~BusGuard() { innermost = outer; }

void BusGuard::Install() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction action = {};
    action.sa_sigaction = BusGuardHandler::Handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    // Read first: from the moment it stands the handler may need it.
    sigaction(SIGBUS, nullptr, &before);
    sigaction(SIGBUS, &action, nullptr);
  });
}

}  // namespace marrowfin
