#ifndef TOOLS_PROGRAM_EXITCODE_H
#define TOOLS_PROGRAM_EXITCODE_H

namespace marrowfin {

// What the programs of this folder end with; the manual page lists the same.
enum ExitCode {
  EXIT_OK = 0,
  EXIT_INPUT = 1,   // an input file cannot be read, or what it holds is refused
  EXIT_USAGE = 2,   // the command line is refused; nothing was read or written
  EXIT_SYSTEM = 3,  // the output cannot be written, or memory ran out

  // Of subcommands that answer yes or no by their status, so that scripts need not read: yes is
  // EXIT_OK, and what others end with EXIT_INPUT for is trouble.
  EXIT_NO = 1,
  EXIT_TROUBLE = 4,
};

}  // namespace marrowfin

#endif
