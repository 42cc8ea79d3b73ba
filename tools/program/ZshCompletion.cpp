#include "tools/program/Completion.h"
#include "tools/program/ShellWord.h"

namespace marrowfin {
namespace {

std::string Escaped(const std::string& text, const std::string& special) {
  std::string escaped;
  for (const char c : text) {
    if (special.find(c) != std::string::npos) {
      escaped += '\\';
    }
    escaped += c == '\n' ? ' ' : c;
  }
  return escaped;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// What is offered for a value: ":NAME:WHAT".
std::string ValueOf(const CompletedOption& option) {
  std::string name = option.names.back();
  name.erase(0, name.find_first_not_of('-'));
  name = ":" + Escaped(name, ":");
  switch (option.value) {
    case CompletedValue::NOTHING:
      return "";
    case CompletedValue::WORDS:
      return name + (option.isList ? ":_values -s , value " + Joined(option.words)
                                   : ":(" + Joined(option.words) + ")");
    case CompletedValue::FILES:
      return name + ":_files";
    case CompletedValue::OTHER:
      break;
  }
  return name + ": ";
}

// An option for _arguments: one line for each of its names, which rule each other out.
std::string OptionLines(const CompletedOption& option) {
  const std::string start = option.isRepeated ? "*" : "(" + Joined(option.names) + ")";
  std::string lines;
  for (const std::string& name : option.names) {
    const bool takes = option.value != CompletedValue::NOTHING;
    const std::string end = !takes ? "" : name.starts_with("--") ? "=" : "+";
    lines += "    " +
             ShellWord(start + name + end + "[" + Escaped(option.description, "[]\\") + "]" +
                       ValueOf(option)) +
             " \\\n";
  }
  return lines;
}

std::string FunctionOf(const std::string& path) {
  std::string name = "_";
  for (const char c : path) {
    name += c == ' ' ? '_' : c;
  }
  return name;
}

// The functions of a command and of those below it.
std::string Functions(const CompletedCommand& command, const std::string& path) {
  std::string text;
  for (const CompletedCommand& sub : command.commands) {
    text += Functions(sub, path + " " + sub.name);
  }
  const std::string function = FunctionOf(path);
  text += function + "() {\n";
  if (!command.commands.empty()) {
    text +=
        "  local context state state_descr line\n  typeset -A opt_args\n  local -a commands\n"
        "  commands=(\n";
    for (const CompletedCommand& sub : command.commands) {
      text += "    " + ShellWord(Escaped(sub.name, ":\\") + ":" + sub.description) + "\n";
    }
    text += "  )\n";
  }
  text += command.commands.empty() ? "  _arguments -s \\\n" : "  _arguments -C -s \\\n";
  for (const CompletedOption& option : command.options) {
    text += OptionLines(option);
  }
  for (const CompletedOption& argument : command.arguments) {
    text += "    " + ShellWord((argument.isRepeated ? "*" : "") + ValueOf(argument)) + " \\\n";
  }
  if (command.commands.empty()) {
    return text + "    && return 0\n}\n\n";
  }
  text +=
      "    '1: :->command' '*:: :->rest' && return 0\n"
      "  case $state in\n"
      "    command) _describe -t commands command commands ;;\n"
      "    rest)\n"
      "      case $words[1] in\n";
  for (const CompletedCommand& sub : command.commands) {
    text += "        " + ShellWord(sub.name) + ") " + FunctionOf(path + " " + sub.name) + " ;;\n";
  }
  return text + "      esac ;;\n  esac\n}\n\n";
}

}  // namespace

std::string ZshCompletion(const CompletedCommand& program) {
  return "#compdef " + program.name + "\n# Completion of " + program.name +
         " for zsh, made by: " + program.maker + " zsh\n\n" + Functions(program, program.name) +
         "if [[ $funcstack[1] == " + FunctionOf(program.name) + " ]]; then\n  " +
         FunctionOf(program.name) + " \"$@\"\nelse\n  compdef " + FunctionOf(program.name) + " " +
         program.name + "\nfi\n";
}

}  // namespace marrowfin
