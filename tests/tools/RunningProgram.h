#ifndef TESTS_TOOLS_RUNNINGPROGRAM_H
#define TESTS_TOOLS_RUNNINGPROGRAM_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/support/Files.h"

namespace marrowfin {

// A program that is watched while it runs. Its standard input is empty.
class RunningProgram {
 public:
  // Where its standard error goes.
  enum Errors { TO_TERMINAL, TO_FILE };

  // A program that is started for holding waits for HoldWhen before it does anything.
  enum Start { FREELY, FOR_HOLDING };

  RunningProgram(const std::vector<std::string>& words, Errors errors, Start start = FREELY);
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // Kills the program where nobody has waited for it.
  ~RunningProgram();

  // Lets the program's first thread run until `reached`, which is asked at every system call, and
  // holds it there. False where the program ended before.
  bool HoldWhen(const std::function<bool()>& reached);
  void Release();

  void Signal(int signal) const;

  // Whether the terminal has shown `text` by now; waits a moment for it.
  bool HasShown(const std::string& text);

  // Waits for the end. Returns the status as waitpid does.
  int Wait();

  // After Wait: all of its standard output and standard error.
  std::string Out() const;
  const std::string& Err() const { return err; }

 private:
  [[noreturn]] void Exec(const std::vector<std::string>& words, int errorsTo, Start start) const;
  bool Read(int milliseconds);

  testing::TempDir scratch;
  pid_t child = -1;
  int terminal = -1;
  std::string err;
};

}  // namespace marrowfin

#endif
