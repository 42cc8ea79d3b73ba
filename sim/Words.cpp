#include "sim/Words.h"

#include <fcntl.h>
#include <strings.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

namespace marrowfin::sim {

namespace {

typedef std::vector<CommandLineParser::Option> Options;

std::string Quoted(const std::string& word) { return "`" + word + "'"; }

bool IsNumber(const std::string& word, unsigned long long most) {
  char* end;
  errno = 0;
  const unsigned long long number = strtoull(word.c_str(), &end, 0);
  return !word.empty() && *end == '\0' && errno == 0 && number <= most &&
         word.find('-') == std::string::npos;
}

bool IsTruth(const std::string& word) {
  return strcasecmp(word.c_str(), "true") == 0 || strcasecmp(word.c_str(), "false") == 0;
}

// What is wrong with a value for an option of this type; empty if nothing is.
std::string FaultOfValue(CommandLineParser::OptionType type, const std::string& value) {
  switch (type) {
    case CommandLineParser::UINT32:
      return IsNumber(value, 0xFFFFFFFF) ? "" : "is no whole number below 2^32";
    case CommandLineParser::UINT64:
      return IsNumber(value, ~0ULL) ? "" : "is no whole number below 2^64";
    case CommandLineParser::BOOL:
      return IsTruth(value) ? "" : "is neither true nor false";
    default:
      return "";
  }
}

// Looks at an option word and its value.
std::string FaultOfPair(CommandLineParser& root, Options& options, const std::string& word,
                        const std::string& value) {
  bool isKnown = false;
  for (CommandLineParser::Option& option : options) {
    if (root.Matches(word, option)) {
      isKnown = true;
      std::string fault = FaultOfValue(option.type, value);
      if (!fault.empty()) {
        return Quoted(value) + " for " + option.GetName() + " " + fault;
      }
    }
  }
  return isKnown ? "" : "there is no option " + Quoted(word);
}

std::string FaultOfLine(CommandLineParser& root, Options& options, const std::string& line) {
  std::istringstream words(line);
  std::string word;
  std::string value;
  if (!(words >> word >> value)) {
    return "an option and a value are wanted";
  }
  return FaultOfPair(root, options, word, value);
}

// Looks at an option file, which must be one that the parser takes as a whole.
std::string FaultOfFile(CommandLineParser& root, Options& options, const std::string& name) {
  File probe(false);
  // The parser opens the file for writing too, and would make one that is not there.
  if (probe.Open(name, O_RDWR, File::DEFAULT_MODE) != File::SUCCESS) {
    return name + ": " + strerror(errno);
  }
  probe.Close();
  std::ifstream file(name);
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    std::string fault =
        file.eof() ? "the last line must end in a line feed" : FaultOfLine(root, options, line);
    if (!fault.empty()) {
      return name + ":" + std::to_string(number).append(": ").append(fault);
    }
  }
  return "";
}

std::string ReadOptionFile(CommandLineParser& root, Options& options, const std::string& name) {
  std::string fault = FaultOfFile(root, options, name);
  if (fault.empty()) {
    root.ParseFile(name, options, CommandLineParser::MODE_STRICT);
  }
  return fault;
}

std::string ReadOptions(CommandLineParser& root, Options& options, CommandLine& words) {
  for (unsigned i = 0; i < words.size(); i += 2) {
    if (words[i].compare(0, 1, "-") != 0) {
      return Quoted(words[i]) + " is no option";
    }
    if (words[i].compare(0, 2, "--") == 0) {
      return Quoted(words[i]) + " must stand in front of the options";
    }
    if (i + 1 == words.size()) {
      return words[i] + " wants a value";
    }
    if (words[i] == root.loadFileOption) {
      return words[i] + " is not used here: --options FILE reads a file of options";
    }
    std::string fault = FaultOfPair(root, options, words[i], words[i + 1]);
    if (!fault.empty()) {
      return fault;
    }
  }
  root.ParseCommandLine(&words, CommandLineParser::MODE_STRICT);
  return "";
}

// The file that "--options FILE" or "--options=FILE" names; takes the words away.
bool TakeOptionFile(CommandLine& words, std::string& name) {
  const std::string prefix = "--options=";
  if (words[0].compare(0, prefix.size(), prefix) == 0) {
    name = words[0].substr(prefix.size());
    words.erase(0);
    return true;
  }
  if (words[0] != "--options" || words.size() < 2) {
    return false;
  }
  name = words[1];
  words.erase(1);
  words.erase(0);
  return true;
}

// Takes the words of this program away from the front.
Request TakeOwnWords(CommandLineParser& root, Options& options, CommandLine& words,
                     std::string& fault) {
  Request request = Request::RUN;
  while (words.size() > 0 && words[0].compare(0, 2, "--") == 0) {
    std::string name;
    if (words[0] == "--help") {
      return Request::HELP;
    }
    if (words[0] == "--version") {
      return Request::VERSION;
    }
    if (words[0] == "--settings") {
      request = Request::SETTINGS;
      words.erase(0);
    } else if (TakeOptionFile(words, name)) {
      fault = ReadOptionFile(root, options, name);
    } else {
      fault = words[0] == "--options" ? "--options wants the name of a file"
                                      : "there is no option " + Quoted(words[0]);
    }
    if (!fault.empty()) {
      return Request::FAULT;
    }
  }
  return request;
}

}  // namespace

Request ReadCommandLine(int argc, char** argv, CommandLineParser& root, std::string& fault) {
  CommandLine words(argc, argv);
  Options options;
  root.CollectAllOptions(options);
  const Request request = TakeOwnWords(root, options, words, fault);
  if (request == Request::RUN || request == Request::SETTINGS) {
    fault = ReadOptions(root, options, words);
    return fault.empty() ? request : Request::FAULT;
  }
  return request;
}

}  // namespace marrowfin::sim
