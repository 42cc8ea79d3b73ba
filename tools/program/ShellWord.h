#ifndef TOOLS_PROGRAM_SHELLWORD_H
#define TOOLS_PROGRAM_SHELLWORD_H

#include <string>

namespace marrowfin {

// A word of a shell command line, quoted where it has to be: command lines that are printed can be
// copied as they are.
std::string ShellWord(const std::string& word);

}  // namespace marrowfin

#endif
