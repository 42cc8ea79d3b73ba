#ifndef SIM_WORDS_H
#define SIM_WORDS_H

#include <string>

#include "Util/CommandLineParser.h"

namespace marrowfin::sim {

// What the command line asks for, apart from options.
enum class Request { RUN, HELP, VERSION, SETTINGS, FAULT };

// Reads the command line: first the words of this program (--help, --version, --settings and
// --options FILE), then the option words and values of the library's parser.
//
// The parser takes any text for a number and says nothing of a missing value. So every value is
// looked at before it is handed over; what is wrong with it ends as a FAULT, which `fault`
// explains. Option files are checked in the same way, and then read by the parser.
Request ReadCommandLine(int argc, char** argv, CommandLineParser& root, std::string& fault);

}  // namespace marrowfin::sim

#endif
