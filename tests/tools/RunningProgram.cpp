#include "tests/tools/RunningProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "tests/support/Command.h"

namespace marrowfin {

RunningProgram::RunningProgram(const std::vector<std::string>& words, Errors errors, Start start) {
  int errorsTo = -1;
  if (errors == TO_TERMINAL && openpty(&terminal, &errorsTo, nullptr, nullptr, nullptr) == -1) {
    throw std::runtime_error("no pseudoterminal");
  }
  if (errors == TO_FILE) {
    errorsTo = open(scratch.File("err").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  }
  child = fork();
  if (child == 0) {
    testing::TakeSignalsAgain();
    Exec(words, errorsTo, start);
  }
  close(errorsTo);
}

void RunningProgram::Exec(const std::vector<std::string>& words, int errorsTo, Start start) const {
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  dup2(errorsTo, STDERR_FILENO);
  dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
  dup2(open(scratch.File("out").c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
  if (start == FREELY || ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) {
    execv(arguments[0], arguments.data());
  }
  _exit(127);
}

RunningProgram::~RunningProgram() {
  if (child != -1) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  if (terminal != -1) {
    close(terminal);
  }
}

bool RunningProgram::HoldWhen(const std::function<bool()>& reached) {
  int status = 0;
  waitpid(child, &status, 0);
  ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD);
  while (WIFSTOPPED(status) && !reached()) {
    const int stop = WSTOPSIG(status);
    const bool own = stop == SIGTRAP || stop == (SIGTRAP | 0x80);
    ptrace(PTRACE_SYSCALL, child, nullptr, own ? 0 : static_cast<long>(stop));
    waitpid(child, &status, 0);
  }
  if (!WIFSTOPPED(status)) {
    child = -1;
  }
  return child != -1;
}

void RunningProgram::Release() { ptrace(PTRACE_DETACH, child, nullptr, nullptr); }

void RunningProgram::Signal(int signal) const { kill(child, signal); }

// A pseudoterminal without a program fails to read.
bool RunningProgram::Read(int milliseconds) {
  struct pollfd ready = {terminal, POLLIN, 0};
  if (poll(&ready, 1, milliseconds) <= 0) {
    return true;
  }
  char chunk[4096];
  const ssize_t got = read(terminal, chunk, sizeof(chunk));
  if (got > 0) {
    err.append(chunk, static_cast<size_t>(got));
  }
  return got > 0;
}

bool RunningProgram::HasShown(const std::string& text) {
  Read(50);
  return err.find(text) != std::string::npos;
}

int RunningProgram::Wait() {
  while (terminal != -1 && Read(-1)) {
  }
  int status = -1;
  waitpid(child, &status, 0);
  child = -1;
  if (terminal == -1) {
    err = testing::ReadFile(scratch.File("err"));
  }
  return status;
}

std::string RunningProgram::Out() const { return testing::ReadFile(scratch.File("out")); }

}  // namespace marrowfin
