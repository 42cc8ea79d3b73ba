#include "Util/Regression.h"

#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Util/InitOrder.h"
#include "Util/SimOutput.h"

Regression::State Regression::success = Regression::UNKNOWN;
[[gnu::init_priority(INIT_OUTPUT)]] std::vector<StatelessCallback*> Regression::crashCalls;
[[gnu::init_priority(INIT_OUTPUT)]] std::string Regression::reason;

void Regression::Initialize() {
  struct sigaction action = {};
  action.sa_handler = PrintRegressionStateAndExit;
  sigemptyset(&action.sa_mask);
  sigaction(SIGABRT, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGSEGV, &action, nullptr);
  success = SUCCESS;
}

void Regression::Succeed() {
  if (success == UNKNOWN) {
    success = SUCCESS;
  }
}

void Regression::Fail(const char* aReason, ...) {
  if (aReason != nullptr && *aReason != '\0') {
    char buf[1000];
    va_list args;
    va_start(args, aReason);
    vsnprintf(buf, sizeof(buf), aReason, args);
    va_end(args);
    reason += buf;
    reason += "\n";
  }
  if (success == SUCCESS || success == UNKNOWN) {
    success = FAILURE;
  }
}

void Regression::PrintSuccess() {
  switch (success) {
    case FAILURE:
      SimOutput::Print("Regression FAILED: %s\n", reason.c_str());
      break;
    case SUCCESS:
      SimOutput::Print("Regression PASSED\n");
      break;
    case UNKNOWN:
      SimOutput::Print("Regression UNKNOWN\n");
      break;
  }
}

void Regression::AddCrashCallback(StatelessCallback* cb) { crashCalls.push_back(cb); }

namespace {

// What the handling of a crash is at.
enum Stage : int { CALLBACKS, VERDICT, EXIT, LEAVE };

// Each fault of the machine within the handling starts it anew behind the step that faulted, in a
// handler of its own that never returns: what it finds here is what the one below it left.
volatile Stage stage = CALLBACKS;
volatile int crashSignal = 0;
volatile size_t nextCallback = 0;

const char* SignalName(int theSignal) {
  switch (theSignal) {
    case SIGINT:
      return "SIGINT";
    case SIGABRT:
      return "SIGABRT";
    case SIGSEGV:
      return "SIGSEGV";
    default:
      return "UNKNOWN SIGNAL";
  }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
[[noreturn]] void HandleCrash() {
  // By number, and counted before it is called: a callback may register others, cancel any of them
  // and itself, and fault.
  while (stage == CALLBACKS && nextCallback < Regression::crashCalls.size()) {
    const size_t current = nextCallback;
    nextCallback = current + 1;
    (*Regression::crashCalls[current])();
  }
  if (stage == CALLBACKS) {
    stage = VERDICT;
    Regression::Fail(SignalName(crashSignal));
    Regression::PrintSuccess();
  }
  if (stage == VERDICT) {
    stage = EXIT;
    exit(1);
  }
  // The program's last destructors fault: what was printed is not to be lost with them.
  if (stage == EXIT) {
    stage = LEAVE;
    fflush(SimOutput::out.GetFILE());
  }
  _exit(1);
}
#pragma GCC diagnostic pop

// A signal that is sent while the crash is handled does nothing, as SIGABRT and SIGINT do. A fault
// of the machine cannot be returned from: the instruction would fault again, for ever. So the
// handling goes on from here.
void GoOnAfterFault(int theSignal, siginfo_t* info, void* /*context*/) {
  if (info->si_code > 0) {
    HandleCrash();
  }
  if (theSignal != SIGSEGV) {
    // One that is no business of the crash handling keeps its effect, which was the default one.
    signal(theSignal, SIG_DFL);
    raise(theSignal);
  }
}

// From the time of a crash on. Unblocked, since the crash may itself be such a fault, and without a
// mask, so that a fault within the handling of a fault is handled too. A fault that the program
// handles itself, or has ignored, is left to it: callbacks may rely on that, as whoever reads a
// mapped file relies on its handler of SIGBUS.
void TakeFaultsOver() {
  struct sigaction action = {};
  action.sa_sigaction = GoOnAfterFault;
  action.sa_flags = SA_SIGINFO | SA_NODEFER;
  sigemptyset(&action.sa_mask);
  sigset_t faults;
  sigemptyset(&faults);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
    struct sigaction former;
    sigaction(fault, nullptr, &former);
    if (fault == SIGSEGV || former.sa_handler == SIG_DFL) {
      sigaction(fault, &action, nullptr);
      sigaddset(&faults, fault);
    }
  }
  sigprocmask(SIG_UNBLOCK, &faults, nullptr);
}

}  // namespace

void Regression::CancelCrashCallback(StatelessCallback* cb) {
  std::vector<size_t> positions;
  for (size_t i = 0; i < crashCalls.size(); ++i) {
    if (crashCalls[i] == cb) {
      positions.push_back(i);
    }
  }
  for (const size_t position : positions) {
    if (position < crashCalls.size()) {
      crashCalls.erase(crashCalls.begin() + static_cast<std::ptrdiff_t>(position));
      if (position < nextCallback) {
        nextCallback = nextCallback - 1;
      }
    }
  }
}

void PrintRegressionStateAndExit(int theSignal) {
  static bool alreadyCrashing = false;
  if (alreadyCrashing) {
    return;
  }
  alreadyCrashing = true;
  crashSignal = theSignal;
  TakeFaultsOver();
  HandleCrash();
}
