#include "tools/program/Interruption.h"

#include <csignal>

namespace marrowfin {
namespace {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t noted = 0;

void Note(int signal) { noted = signal; }

}  // namespace

Interruption::Interruption() {
  noted = 0;
  for (const int signal : endingSignals) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_DFL) {
      action.sa_handler = Note;
      action.sa_flags = SA_RESTART | SA_RESETHAND;
      sigaction(signal, &action, nullptr);
    }
  }
}

Interruption::~Interruption() {
  for (const int signal : endingSignals) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == Note) {
      std::signal(signal, SIG_DFL);
    }
  }
  if (noted != 0) {
    raise(noted);
  }
}

bool Interruption::Asked() const { return noted != 0; }

}  // namespace marrowfin
