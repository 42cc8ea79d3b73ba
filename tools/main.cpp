#include <unistd.h>

#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "tools/program/Interruption.h"
#include "tools/program/Program.h"

int main(int argc, char** argv) {
  // A file-size limit is then a failed write like any other, with a text and a clean end.
  std::signal(SIGXFSZ, SIG_IGN);
  marrowfin::OwnEndingSignals();
  std::ostream* const terminal = isatty(STDERR_FILENO) != 0 ? &std::cerr : nullptr;
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  return marrowfin::RunProgram(arguments, {std::cout, std::cerr, terminal});
}
