#ifndef UTIL_COMMANDLINE_H
#define UTIL_COMMANDLINE_H

#include <string>
#include <vector>

#include "Util/Printable.h"

// The words with which a program was started, as the option parser walks them: position 0 is the
// first word after the program's name. The order of the fields is fixed.
class CommandLine : public Printable {
 public:
  struct Arg {
    Arg(const char* word) : arg(word) {}
    std::string arg;
  };

  // From the arguments of main. Without a first item the program's name is empty.
  CommandLine(int argc, char** argv);
  CommandLine(const CommandLine& other);
  CommandLine& operator=(const CommandLine& other);
  ~CommandLine() override;

  unsigned int size();

  // The word at `index`, unchecked.
  std::string& operator[](unsigned int index);

  // Removes the word at `index`; does nothing where there is none.
  void erase(unsigned int index);

  // The words, without the program's name, as a C argument vector with a null pointer at its end.
  // It belongs to the command line and is good until the next call or change of a word.
  char** GetArgv();

  // The program's name and the words, with a blank between them.
  using Printable::ToString;
  const char* ToString(std::string& s) const override;

  std::string executableName;
  std::vector<Arg> args;
  char** c_args;  // what GetArgv returned last; points into `args`
};

#endif
