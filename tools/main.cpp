#include <unistd.h>

#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "tools/program/DescriptorBuffer.h"
#include "tools/program/Interruption.h"
#include "tools/program/OutOfMemory.h"
#include "tools/program/Program.h"
#include "tools/program/TerminalText.h"

// Ahead of the constructors of static objects, which may be without memory as well.
[[gnu::constructor(101)]] static void BeforeAll() { marrowfin::EndCleanlyWithoutMemory(); }

int main(int argc, char** argv) {
  // A file-size limit is then a failed write like any other, with a text and a clean end.
  std::signal(SIGXFSZ, SIG_IGN);
  marrowfin::OwnEndingSignals();
  std::ios::sync_with_stdio(false);
  const bool outWatched = isatty(STDOUT_FILENO) != 0;
  const bool errWatched = isatty(STDERR_FILENO) != 0;
  std::ostream errors(std::cerr.rdbuf());
  marrowfin::TerminalBuffer printableErrors(errors);
  marrowfin::DescriptorBuffer resultBytes(STDOUT_FILENO);
  std::ostream results(&resultBytes);
  marrowfin::TerminalBuffer printableResults(results);
  std::ostream watchedErrors(&printableErrors);
  std::ostream watchedResults(&printableResults);
  watchedErrors << std::unitbuf;
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  return marrowfin::RunProgram(
      arguments, {outWatched ? watchedResults : results, errWatched ? watchedErrors : std::cerr,
                  errWatched ? &errors : nullptr});
}
