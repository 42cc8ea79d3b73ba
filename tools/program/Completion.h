#ifndef TOOLS_PROGRAM_COMPLETION_H
#define TOOLS_PROGRAM_COMPLETION_H

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace marrowfin {

// What can stand on a command line, out of the tables by which it is parsed: so that what a shell
// offers is what the program takes.

// What an option or an argument takes.
enum class CompletedValue { NOTHING, WORDS, FILES, OTHER };

struct CompletedOption {
  std::vector<std::string> names;  // with their hyphens; of an argument the one in its help
  std::string description;
  CompletedValue value = CompletedValue::NOTHING;
  std::vector<std::string> words;  // of WORDS
  bool isList = false;             // whether several may be given with commas between
  bool isRepeated = false;
};

struct CompletedCommand {
  std::string name;
  std::string description;
  std::vector<CompletedOption> options;
  std::vector<CompletedOption> arguments;
  std::vector<CompletedCommand> commands;
  std::string maker;  // of a program the command line that prints its scripts, but for the shell
};

CompletedCommand CompletedCommandOf(const CLI::App& app);

// Scripts for the shells, which complete the whole program.
std::string BashCompletion(const CompletedCommand& program);
std::string ZshCompletion(const CompletedCommand& program);

}  // namespace marrowfin

#endif
