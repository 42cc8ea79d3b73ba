#include "tests/support/Command.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "tests/support/Files.h"

namespace marrowfin::testing {

namespace {

bool Redirect(int descriptor, const std::string& path, int flags) {
  const int file = open(path.c_str(), flags, 0600);
  if (file < 0) {
    return false;
  }
  if (file == descriptor) {
    return true;
  }
  return dup2(file, descriptor) >= 0 && close(file) == 0;
}

// In the child: does not come back. The reason why it could not start the program goes up `report`,
// which closes by itself where it could.
[[noreturn]] void Start(const std::vector<std::string>& words, const CommandOptions& options,
                        const TempDir& scratch, int report) {
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  for (const std::string& variable : options.environment) {
    putenv(const_cast<char*>(variable.c_str()));
  }
  if (Redirect(STDIN_FILENO, scratch.File("in"), O_RDONLY) &&
      Redirect(STDOUT_FILENO, scratch.File("out"), O_WRONLY | O_CREAT) &&
      Redirect(STDERR_FILENO, scratch.File("err"), O_WRONLY | O_CREAT) &&
      (options.directory.empty() || chdir(options.directory.c_str()) == 0)) {
    execvp(arguments[0], arguments.data());
  }
  const int error = errno;
  _exit(write(report, &error, sizeof(error)) == sizeof(error) ? 127 : 126);
}

int WaitFor(pid_t child) {
  int state;
  while (waitpid(child, &state, 0) < 0) {
    if (errno != EINTR) {
      throw std::runtime_error(std::string("can't wait: ") + strerror(errno));
    }
  }
  return state;
}

}  // namespace

void TakeSignalsAgain() {
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGXCPU}) {
    signal(number, SIG_DFL);
  }
}

CommandResult RunCommand(const std::vector<std::string>& words, const CommandOptions& options) {
  // Files and not pipes: the command may write any amount to both without waiting for us.
  const TempDir scratch;
  WriteFile(scratch.File("in"), options.input);
  int report[2];
  if (words.empty() || pipe2(report, O_CLOEXEC) != 0) {
    throw std::runtime_error("can't run a command");
  }
  const pid_t child = fork();
  if (child == 0) {
    TakeSignalsAgain();
    Start(words, options, scratch, report[1]);
  }
  close(report[1]);
  int error = 0;
  const bool failed = child < 0 || read(report[0], &error, sizeof(error)) == sizeof(error);
  close(report[0]);
  const int state = child < 0 ? 0 : WaitFor(child);
  if (failed) {
    throw std::runtime_error("can't run " + words[0] + ": " + strerror(error));
  }
  CommandResult result;
  if (WIFSIGNALED(state)) {
    result.signal = WTERMSIG(state);
  } else {
    result.exitStatus = WEXITSTATUS(state);
  }
  result.out = ReadFile(scratch.File("out"));
  result.err = ReadFile(scratch.File("err"));
  return result;
}

}  // namespace marrowfin::testing
