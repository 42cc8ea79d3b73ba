#include "sim/Interrupts.h"

#include <csignal>

namespace marrowfin::sim {

namespace {

void Change(int how) {
  sigset_t interrupt;
  sigemptyset(&interrupt);
  sigaddset(&interrupt, SIGINT);
  sigprocmask(how, &interrupt, nullptr);
}

}  // namespace

Interrupts::Interrupts() { Hold(); }

Interrupts::~Interrupts() { Allow(); }

void Interrupts::Deliver() {
  Allow();
  Hold();
}

void Interrupts::Allow() { Change(SIG_UNBLOCK); }

void Interrupts::Hold() { Change(SIG_BLOCK); }

}  // namespace marrowfin::sim
