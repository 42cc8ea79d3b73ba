#include "tools/program/Completion.h"

#include <CLI/CLI.hpp>

namespace marrowfin {
namespace {

// The words between the braces of "TEXT:{notes,thread,none}", which is how the parser tells them.
std::vector<std::string> WordsIn(const std::string& type) {
  std::vector<std::string> words;
  const size_t begin = type.find('{');
  const size_t end = type.find('}', begin);
  if (begin == std::string::npos || end == std::string::npos) {
    return words;
  }
  std::string word;
  for (size_t at = begin + 1; at <= end; ++at) {
    if (type[at] == ',' || at == end) {
      words.push_back(word);
      word.clear();
    } else {
      word += type[at];
    }
  }
  return words;
}

CompletedOption CompletedOptionOf(const CLI::Option& option) {
  CompletedOption made;
  for (const std::string& name : option.get_snames()) {
    made.names.push_back("-" + name);
  }
  for (const std::string& name : option.get_lnames()) {
    made.names.push_back("--" + name);
  }
  if (option.get_positional()) {
    made.names = {option.get_name(true, false)};
  }
  made.description = option.get_description();
  const std::string type = option.get_type_name();
  made.words = WordsIn(type);
  made.value = option.get_items_expected_max() == 0 ? CompletedValue::NOTHING
               : !made.words.empty()                ? CompletedValue::WORDS
               : type.starts_with("TEXT")           ? CompletedValue::FILES
                                                    : CompletedValue::OTHER;
  made.isList = option.get_delimiter() != '\0';
  made.isRepeated = option.get_items_expected_max() > 1;
  return made;
}

}  // namespace

CompletedCommand CompletedCommandOf(const CLI::App& app) {
  CompletedCommand made = {
      app.get_name(), app.get_description(), {}, {}, {}, app.get_name() + " completion"};
  for (const CLI::Option* const option : app.get_options()) {
    (option->get_positional() ? made.arguments : made.options)
        .push_back(CompletedOptionOf(*option));
  }
  for (const CLI::App* const sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    made.commands.push_back(CompletedCommandOf(*sub));
  }
  return made;
}

}  // namespace marrowfin
