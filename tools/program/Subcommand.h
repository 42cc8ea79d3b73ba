#ifndef TOOLS_PROGRAM_SUBCOMMAND_H
#define TOOLS_PROGRAM_SUBCOMMAND_H

#include <functional>
#include <iosfwd>
#include <vector>

#include "tools/program/Failure.h"

namespace CLI {
class App;
}

namespace marrowfin {

// Where a subcommand speaks. Results go to `out`, progress to `terminal`; failures are returned and
// the program prints them.
struct Console {
  std::ostream& out;
  std::ostream& err;
  std::ostream* terminal;  // null unless someone watches
};

// Runs a subcommand whose flags have been parsed.
using Action = std::function<MaybeFailure(const Console&)>;

// One entry of the program's table. A subcommand is one source file in tools/commands, which
// defines the entry; to add one, name it in the list in tools/CMakeLists.txt.
struct Subcommand {
  const char* name;
  const char* summary;  // one line
  const char* footer;   // examples and remarks, shown at the end of its --help

  // Declares the flags on `app`. The action that comes back owns what they are parsed into. Null of
  // one that has kinds.
  Action (*configure)(CLI::App& app);

  // The kinds of a subcommand that is several: the next word names one. They are like subcommands
  // themselves, each with flags and help of its own.
  const std::vector<const Subcommand*>& (*kinds)() = nullptr;
};

}  // namespace marrowfin

#endif
