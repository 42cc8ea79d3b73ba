#include "sim/Interrupts.h"

#include <unistd.h>

#include <csignal>
#include <cstring>

namespace marrowfin::sim {

namespace {

struct SignalInfo {
  int number;
  const char* name;
  bool isTakenWhereIgnored;
};

constexpr SignalInfo SIGNALS[] = {{SIGINT, "SIGINT", true},
                                  {SIGTERM, "SIGTERM", false},
                                  {SIGHUP, "SIGHUP", false},
                                  {SIGQUIT, "SIGQUIT", true},
                                  {SIGXCPU, "SIGXCPU", false}};

volatile sig_atomic_t isHeld = 0;
volatile sig_atomic_t noted = 0;

const char* NameOf(int number) {
  for (const SignalInfo& signal : SIGNALS) {
    if (signal.number == number) {
      return signal.name;
    }
  }
  return nullptr;
}

void WriteText(const char* text) {
  // Where even this cannot be written there is nobody to tell.
  [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, text, strlen(text));
}

void OnSignal(int number);

bool IsIgnored(int number) {
  struct sigaction action;
  return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// Installs the handler where it is not left to be ignored. Safe in a handler.
void Install(int flags) {
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  for (const SignalInfo& signal : SIGNALS) {
    if (signal.isTakenWhereIgnored || !IsIgnored(signal.number)) {
      sigaction(signal.number, &action, nullptr);
    }
  }
}

void OnSignal(int number) {
  if (isHeld == 0) {
    // As the verdict prints it, but with nothing that a handler must not call: the signal may have
    // come in the middle of an allocation.
    WriteText("Regression FAILED: ");
    WriteText(NameOf(number));
    WriteText("\n\n");
    _exit(1);
  }
  if (noted == 0) {
    noted = number;
    Install(0);
  }
}

}  // namespace

Interrupts::Interrupts() { Install(0); }

void Interrupts::Hold() {
  isHeld = 1;
  Install(SA_RESTART);
}

const char* Interrupts::Noted() const { return noted == 0 ? nullptr : NameOf(noted); }

}  // namespace marrowfin::sim
