#include "Util/Regression.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Util/SimOutput.h"

Regression::State Regression::success = Regression::UNKNOWN;
std::vector<StatelessCallback*> Regression::crashCalls;
std::string Regression::reason;

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
    }
  }
}

namespace {

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

}  // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void PrintRegressionStateAndExit(int theSignal) {
  static bool alreadyCrashing = false;
  if (alreadyCrashing) {
    return;
  }
  alreadyCrashing = true;
  // By index: a callback may register or cancel others while the list is walked.
  for (size_t i = 0; i < Regression::crashCalls.size(); ++i) {
    (*Regression::crashCalls[i])();
  }
  Regression::Fail(SignalName(theSignal));
  Regression::PrintSuccess();
  exit(1);
}
#pragma GCC diagnostic pop
