#ifndef TESTS_SUPPORT_COMMAND_H
#define TESTS_SUPPORT_COMMAND_H

#include <string>
#include <vector>

namespace marrowfin::testing {

// Undoes what a process may have been told to ignore by whoever started it (nohup does so, and
// shells that start it in the background): what tests of signals start, begins with this after its
// fork.
void TakeSignalsAgain();

// How a command ended and what it wrote.
struct CommandResult {
  int exitStatus = -1;  // 0 to 255, or -1 where a signal ended the command
  int signal = 0;       // the signal that ended it, or 0
  std::string out;      // all of its standard output
  std::string err;      // all of its standard error
};

struct CommandOptions {
  std::string input;                     // its whole standard input
  std::string directory;                 // where it starts; empty: here
  std::vector<std::string> environment;  // "NAME=VALUE", set on top of ours
};

// Runs a program to its end. `words` is the program, looked up in PATH, and its arguments; no shell
// is involved. Throws std::runtime_error where the program cannot be started.
CommandResult RunCommand(const std::vector<std::string>& words, const CommandOptions& options = {});

}  // namespace marrowfin::testing

#endif
