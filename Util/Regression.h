#ifndef UTIL_REGRESSION_H
#define UTIL_REGRESSION_H

#include <string>
#include <vector>

// Clean-up work to be done when the run crashes. Users derive from it; whoever registers a callback
// keeps it and destroys it as its own type.
class StatelessCallback {
 public:
  StatelessCallback() = default;
  StatelessCallback(const StatelessCallback&) = default;
  StatelessCallback& operator=(const StatelessCallback&) = default;

  virtual void operator()() = 0;

 protected:
  // Not virtual: the call is the only virtual operation, and nothing here deletes a callback.
  ~StatelessCallback() = default;
};

// The verdict of the run (passed, failed or unknown) and the handling of fatal signals. There are
// no objects of it.
class Regression {
 public:
  enum State : int { FAILURE = 0, SUCCESS = 1, UNKNOWN = 2 };

  static State success;
  static std::vector<StatelessCallback*> crashCalls;  // in order of registration; not owned
  static std::string reason;  // why the run failed; a line feed after every reason

  // Takes SIGABRT, SIGINT and SIGSEGV over and sets the verdict to SUCCESS: from then on every
  // abort ends in PrintRegressionStateAndExit.
  static void Initialize();

  // Turns UNKNOWN into SUCCESS; keeps any other state.
  static void Succeed();

  // Fails the run. The reason is formatted as by printf and cut to 999 characters; a null or empty
  // one adds no reason.
  [[gnu::format(printf, 1, 2)]] static void Fail(const char* aReason, ...);

  // Prints "Regression PASSED", "Regression FAILED: REASONS" or "Regression UNKNOWN" to standard
  // output.
  static void PrintSuccess();

  // Registers a callback; one that is registered twice is called twice. One that a callback
  // registers is called too.
  static void AddCrashCallback(StatelessCallback* cb);

  // Removes a callback. Where it was registered several times, the positions are looked up first
  // and not corrected after each removal, so that later removals may take other callbacks:
  // cancelling cb in [A, cb, cb, B] leaves [A, cb]. A callback may cancel itself and others.
  static void CancelCrashCallback(StatelessCallback* cb);
};

// The handler of fatal signals: calls the crash callbacks in order of registration, fails the run
// with the signal's name, prints the verdict and exits with status 1.
//
// While it runs, SIGABRT, SIGINT and SIGSEGV do nothing where they are sent (raise, kill): what
// they interrupted goes on. A callback in which the machine itself faults (SIGSEGV, and SIGBUS,
// SIGFPE and SIGILL unless the program has handlers of its own for them) is left where it is, its
// destructors are not run, and the handling goes on with the next callback. A callback must not
// call abort(), nor what ends in it, such as a failed assertion or a failure of a crash-on-error
// File: the C library then ends the process without a verdict.
void PrintRegressionStateAndExit(int theSignal);

#endif
