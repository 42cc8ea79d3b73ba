#include "sim/Words.h"

namespace marrowfin::sim {

namespace {

std::string Quoted(const std::string& word) { return "`" + word + "'"; }

std::string SetPairs(CommandLine& words, OptionTable& options) {
  const std::string loadFileOption = CommandLineParser().loadFileOption;
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
    if (words[i] == loadFileOption) {
      return words[i] + " is not used here: --options FILE reads a file of options";
    }
    std::string fault = options.Set(words[i], words[i + 1]);
    if (!fault.empty()) {
      return fault;
    }
  }
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

// Takes one of the words of this program away from the front.
void TakeOwnWord(CommandLine& words, OptionTable& options, CommandWords& result) {
  std::string name;
  if (words[0] == "--help") {
    result.request = Request::HELP;
  } else if (words[0] == "--version") {
    result.request = Request::VERSION;
  } else if (words[0] == "--settings") {
    result.request = Request::SETTINGS;
    words.erase(0);
  } else if (words[0] == "--completion") {
    result.request = Request::COMPLETION;
    result.shell = words.size() > 1 ? words[1] : "";
    if (result.shell != "bash" && result.shell != "zsh") {
      result.fault = "--completion wants the name of a shell, bash or zsh";
    } else if (words.size() > 2) {
      result.fault = Quoted(words[2]) + " is left over behind --completion";
    }
  } else if (TakeOptionFile(words, name)) {
    result.optionFiles.push_back(name);
    result.fault = options.Read(name);
  } else {
    result.fault = words[0] == "--options" ? "--options wants the name of a file"
                                           : "there is no option " + Quoted(words[0]);
  }
}

bool IsOver(const CommandWords& words) {
  return !words.fault.empty() || words.request == Request::HELP ||
         words.request == Request::VERSION || words.request == Request::COMPLETION;
}

}  // namespace

CommandWords ReadCommandLine(int argc, char** argv, OptionTable& options) {
  CommandLine words(argc, argv);
  CommandWords result;
  while (words.size() > 0 && words[0].compare(0, 2, "--") == 0 && !IsOver(result)) {
    TakeOwnWord(words, options, result);
  }
  if (!IsOver(result)) {
    result.fault = SetPairs(words, options);
  }
  if (!result.fault.empty()) {
    result.request = Request::FAULT;
  }
  return result;
}

}  // namespace marrowfin::sim
