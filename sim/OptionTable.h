#ifndef SIM_OPTIONTABLE_H
#define SIM_OPTIONTABLE_H

#include <string>
#include <vector>

#include "Util/CommandLineParser.h"

namespace marrowfin::sim {

// All options of a tree of parsers, set by words and written as words.
//
// The parser itself takes any text for a number, reads a leading zero as octal, ends the program on
// a word that is no pattern, and drops what follows a value in an option file. Here numbers are
// decimal, all that is wrong is said, and nothing is dropped.
class OptionTable {
 public:
  // The options that `root` has now. It must outlive the table.
  explicit OptionTable(CommandLineParser& root);

  // Sets every option that the pattern `word` covers. Returns what is wrong with the word or the
  // value; empty if nothing is.
  std::string Set(const std::string& word, const std::string& value);

  // Sets the options of a file: an option and its value a line. A value that stands between
  // quotation marks is what stands there, and may be empty or hold blanks. Returns what is wrong,
  // with the file and the line.
  std::string Read(const std::string& fileName);

  // All options with their values, one a line, as Read takes them.
  std::string Text() const;

  // What there is to set: the word that covers this option alone, as long as its name is no
  // pattern, its type and what it is for.
  struct Entry {
    std::string name;
    CommandLineParser::OptionType type;
    std::string description;
  };
  std::vector<Entry> Entries() const;

 private:
  std::string FaultOf(const std::string& word, const std::string& value);
  std::string SetFromLine(const std::string& line);

  CommandLineParser& root;
  std::vector<CommandLineParser::Option> options;
};

}  // namespace marrowfin::sim

#endif
