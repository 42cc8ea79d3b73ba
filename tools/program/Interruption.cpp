#include "tools/program/Interruption.h"

#include <atomic>
#include <csignal>

#include "trace/write/AtomicFile.h"

namespace marrowfin {
namespace {

std::atomic<int> waiting = 0;  // objects for which a signal waits
std::atomic<int> noted = 0;    // the signal that waits, or 0
static_assert(std::atomic<int>::is_always_lock_free, "handlers use no others");

void End(int signal) {
  RemoveTemporaries();
  std::signal(signal, SIG_DFL);
  raise(signal);
}

void NoteOrEnd(int signal) {
  if (waiting == 0 || noted == signal) {
    End(signal);
  } else {
    noted = signal;
  }
}

void Own(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  sigaction(signal, nullptr, &action);
  if (action.sa_handler == SIG_DFL) {
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace

void OwnEndingSignals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU}) {
    Own(signal, NoteOrEnd);
  }
  Own(SIGPIPE, End);
}

Interruption::Interruption() { ++waiting; }

Interruption::~Interruption() {
  if (--waiting == 0 && noted != 0) {
    End(noted);
  }
}

bool Interruption::Asked() const { return noted != 0; }

}  // namespace marrowfin
