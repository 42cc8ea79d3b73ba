#ifndef TOOLS_PROGRAM_SHELLWORD_H
#define TOOLS_PROGRAM_SHELLWORD_H

#include <string>

namespace marrowfin {

// A word of a shell's command line, quoted where it has to be.
std::string ShellWord(const std::string& word);

}  // namespace marrowfin

#endif
