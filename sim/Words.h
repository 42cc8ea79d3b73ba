#ifndef SIM_WORDS_H
#define SIM_WORDS_H

#include <string>
#include <vector>

#include "sim/OptionTable.h"

namespace marrowfin::sim {

// What the command line asks for, apart from options.
enum class Request { RUN, HELP, VERSION, SETTINGS, COMPLETION, FAULT };

struct CommandWords {
  Request request = Request::RUN;
  std::string fault;                     // what is wrong, where the request is FAULT
  std::string shell;                     // for which completion is asked
  std::vector<std::string> optionFiles;  // that were read
};

// Reads the command line: first the words of this program (--help, --version, --settings,
// --completion SHELL and --options FILE), then pairs of an option word and a value. `options` has
// what they set; after a FAULT that is some of them.
CommandWords ReadCommandLine(int argc, char** argv, OptionTable& options);

}  // namespace marrowfin::sim

#endif
