#ifndef UTIL_COMMANDLINEPARSER_H
#define UTIL_COMMANDLINEPARSER_H

#include <string>
#include <vector>

#include "Util/CommandLine.h"
#include "Util/File.h"
#include "Util/OptionTypes.h"
#include "Util/Printable.h"

// The options of one unit and, through its sub-parsers, of all units below it.
//
// An option word is a POSIX basic regular expression that must cover an option's whole full name,
// so one word can set the same setting in many units: `-.*/verbose true`. Every option word takes
// exactly one value word.
//
// Options are registered in the units' constructors, then AddPrefix gives them the path of their
// unit, then ParseCommandLine is called once, on the root. The bound variables must outlive the
// parser.
//
// The order of the virtual operations and of the fields is fixed, also of an option's.
class CommandLineParser {
 public:
  // The code of a list is that of its items plus one; which variable each stands for is said in
  // Util/OptionTypes.h.
  enum OptionType : int {
    INVALID = 0,
    INT8,
    VECTOR_OF_INT8,
    UINT8,
    VECTOR_OF_UINT8,
    UINT32,
    VECTOR_OF_UINT32,
    INT32,
    VECTOR_OF_INT32,
    UINT64,
    VECTOR_OF_UINT64,
    INT64,
    VECTOR_OF_INT64,
    DOUBLE,
    VECTOR_OF_DOUBLE,
    FLOAT,
    VECTOR_OF_FLOAT,
    STRING,
    VECTOR_OF_STRING,
    CSTRING,
    VECTOR_OF_CSTRING,
    BOOL,
    VECTOR_OF_BOOL
  };

  // Only MODE_STRICT changes behaviour: words that match no option are then errors.
  enum CmdLineParseMode { MODE_STRICT = 0, MODE_NOT_STRICT = 1, MODE_INVALID = 2 };

  // A name bound to a variable. The variable belongs to whoever registered the option.
  class Option : public Printable {
   public:
    // Of type INVALID, without a variable.
    Option();

    // Binds `aName` to the variable at `s`, which has the type that `aType` says and is not
    // touched.
    Option(OptionType aType, const char* aName, const char* desc, void* s);

    // The full name.
    std::string GetName() const;

    // Parses the word after position `index` of the command line, where the option's own word
    // stands. A missing word counts as an empty one.
    bool Parse(CommandLine* cmdLine, int index);

    // Stores the value of a word; lists append the items between the commas to what they hold.
    // Numbers are read as strtoll, strtoull and strtod do, integers with base 0, and cut to the
    // width of the variable; a malformed word is not an error. A boolean is true for "true" in any
    // case.
    bool Parse(std::string value);
    static bool ParseItem(std::string s, OptionType type, void* storage);
    static bool ParseList(std::string s, OptionType type, void* l);

    // The full name, a blank and the current value. The 64-bit formats are crossed: a UINT64 prints
    // as signed and an INT64 as unsigned.
    using Printable::ToString;
    const char* ToString(std::string& s) const override;

    OptionType type;
    std::string name;         // as registered
    std::string fullName;     // used for matching and printing
    std::string description;  // one line
    void* storage;            // the bound variable, not owned
  };

  CommandLineParser();

  // The options of a copy would be bound to the variables of the original.
  CommandLineParser(const CommandLineParser&) = delete;
  CommandLineParser& operator=(const CommandLineParser&) = delete;

  // Gives `option` the variable `v` and, in the first form, gives the variable its default. The
  // variable is one of signed char, unsigned char, unsigned int, int, unsigned long long, long
  // long, double, float, std::string, char* and bool, or a std::vector of one of them; no other
  // compiles. The library makes a heap copy of every char* value that it stores and never frees
  // one.
  template <class T, class Type = decltype(OptionVariables::Of(static_cast<T*>(nullptr)))>
  void AddOption(T* v, const char* option, const char* description,
                 typename Type::Variable defaultValue) {
    AddOption(v, option, description);
    *static_cast<typename Type::Variable*>(v) = defaultValue;
  }
  template <class T, class Type = decltype(OptionVariables::Of(static_cast<T*>(nullptr)))>
  void AddOption(T* v, const char* option, const char* description) {
    typename Type::Variable* const variable = v;
    options.push_back(Option(static_cast<OptionType>(Type::CODE), option, description, variable));
  }

  // The word that ends the options; "--" where this is never called.
  void SetStopOption(const char* word);

  // Adds a parser whose options are parsed with this one's. It is not owned.
  void AddParser(CommandLineParser* p);

  // Sets the full name of each own option (not those of sub-parsers) to "-", `prefix` and the name
  // without its leading "-".
  void AddPrefix(const std::string& prefix);

  // Sets the options of the tree below this parser from pairs of an option word and a value word.
  //
  // Stops at the stop word. The load-file word ("-cmdLineFile") is itself the name of the option
  // file that is then read; the word after it is skipped. In MODE_STRICT unknown words are reported
  // on standard error and make the result false. A word that is no valid pattern ends the program.
  bool ParseCommandLine(CommandLine* cmdLine, CmdLineParseMode mode);

  // Applies the lines of an option file: an option word and a value word, separated by white space.
  // In MODE_STRICT the first line that matches no option ends the reading with false. A file that
  // cannot be opened for reading and writing ends the program, and so does a line of fewer than two
  // words. A last line without a line feed is not applied.
  bool ParseFile(const std::string& fileName, std::vector<Option>& allOptions,
                 CmdLineParseMode mode);

  // Appends copies of the options of the tree, parents before children.
  void CollectAllOptions(std::vector<Option>& allOptions);

  // The pattern of an option word: the word itself.
  std::string MunchPattern(const std::string& pattern);

  // Whether the pattern covers the whole full name of the option.
  bool Matches(const std::string& pattern, Option& option);

  // Parses a value into every option that matches the word at `index`, or `key`; false where none
  // does.
  bool DoMatches(CommandLine* cmdLine, unsigned int index, std::vector<Option>& allOptions);
  bool DoMatches(const std::string& key, const std::string& value, std::vector<Option>& allOptions);

  // One line per option of the tree: full name, colon, two blanks, description.
  virtual const char* GetUsageString(std::string& buf);

  virtual ~CommandLineParser();

  // The usage text under the heading "Usage:  ".
  void PrintUsage(File& f);

  // One line per option of the tree, as Option::ToString writes it.
  void PrintOptionsAndValues(File& f);

  // The words after the first stop word, with a null pointer at the end. The caller releases the
  // words with free() and the array with delete[].
  char** GetUnparsedArgv(CommandLine* cmdLine);

  // Whether ParseCommandLine would find every option word up to the stop word known and followed by
  // a value. Sets nothing and reads no option file. A word that is no valid pattern is reported and
  // ends the program, as it does there; nothing else is printed.
  bool CheckCommandLine(CommandLine* cmdLine);

  std::vector<Option> options;                 // own, in order of registration
  std::vector<CommandLineParser*> subParsers;  // in order of adding; not owned
  std::string stopOption;
  std::string loadFileOption;
};

#endif
