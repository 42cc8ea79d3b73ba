#include "tools/program/Completion.h"
#include "tools/program/ShellWord.h"

namespace marrowfin {
namespace {

std::string Joined(const std::vector<std::string>& words, const std::string& between) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : between) + word;
  }
  return text;
}

// The lines of the tables that the script looks up, of a command and those below it.
struct Tables {
  std::string commands;  // which words lead from a command to one below it
  std::string values;    // what the options of a command take
  std::string offers;    // what a command offers
};

void AddOption(const std::string& path, const CompletedOption& option, Tables& tables) {
  if (option.value == CompletedValue::NOTHING) {
    return;
  }
  std::vector<std::string> patterns;
  for (const std::string& name : option.names) {
    patterns.push_back(ShellWord(path + " " + name));
  }
  std::string then = "kind=other";
  if (option.value == CompletedValue::FILES) {
    then = "kind=files";
  } else if (option.value == CompletedValue::WORDS) {
    then = std::string(option.isList ? "kind=list" : "kind=words") +
           " words=" + ShellWord(Joined(option.words, " "));
  }
  tables.values += "    " + Joined(patterns, " | ") + ") " + then + " ;;\n";
}

void AddCommand(const CompletedCommand& command, const std::string& path, Tables& tables) {
  std::vector<std::string> options;
  std::vector<std::string> words;
  bool takesFiles = false;
  for (const CompletedOption& option : command.options) {
    options.insert(options.end(), option.names.begin(), option.names.end());
    AddOption(path, option, tables);
  }
  for (const CompletedOption& argument : command.arguments) {
    words.insert(words.end(), argument.words.begin(), argument.words.end());
    takesFiles = takesFiles || argument.value == CompletedValue::FILES;
  }
  for (const CompletedCommand& sub : command.commands) {
    words.push_back(sub.name);
    const std::string below = path + " " + sub.name;
    tables.commands += "      " + ShellWord(below) + ") command=" + ShellWord(below) + " ;;\n";
    AddCommand(sub, below, tables);
  }
  tables.offers += "    " + ShellWord(path) + ") options=" + ShellWord(Joined(options, " ")) +
                   " words=" + ShellWord(Joined(words, " ")) +
                   (takesFiles ? " kind=files" : " kind=words") + " ;;\n";
}

}  // namespace

std::string BashCompletion(const CompletedCommand& program) {
  Tables tables;
  AddCommand(program, program.name, tables);
  std::string function = "_" + program.name;
  for (char& c : function) {
    c = c == '-' ? '_' : c;
  }
  return "# Completion of " + program.name + " for bash, made by: " + program.maker + " bash\n" +
         function +
         "_value() {\n"
         "  # What the option $2 of the command $1 takes.\n"
         "  kind='' words=''\n"
         "  case \"$1 $2\" in\n" +
         tables.values +
         "  esac\n"
         "}\n\n" +
         function +
         "_offer() {\n"
         "  # What the command $1 has.\n"
         "  case $1 in\n" +
         tables.offers +
         "  esac\n"
         "}\n\n" +
         function +
         "() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before='' command=" +
         ShellWord(program.name) +
         "\n"
         "  local kind='' words='' options='' prefix='' i\n"
         "  COMPREPLY=()\n"
         "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
         "    before=${COMP_WORDS[i]}\n"
         "    # The value of an option is no command; --option=value comes as three words.\n" +
         "    " + function +
         "_value \"$command\" \"$before\"\n"
         "    if [[ -n $kind ]]; then\n"
         "      if ((i + 1 < COMP_CWORD)) && [[ ${COMP_WORDS[i + 1]} == '=' ]]; then\n"
         "        ((++i))\n"
         "      fi\n"
         "      ((i + 1 < COMP_CWORD)) || break\n"
         "      ((++i))\n"
         "      kind=''\n"
         "      continue\n"
         "    fi\n"
         "    case \"$command $before\" in\n" +
         tables.commands +
         "    esac\n"
         "  done\n"
         "  [[ $word != '=' ]] || word=''\n"
         "  if [[ -z $kind ]]; then\n"
         "    " +
         function +
         "_offer \"$command\"\n"
         "    if [[ $word == -* ]]; then\n"
         "      kind=words words=$options\n"
         "    fi\n"
         "  fi\n"
         "  if [[ $kind == list && $word == *,* ]]; then\n"
         "    prefix=${word%,*}, word=${word##*,}\n"
         "  fi\n"
         "  if [[ -n $words ]]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -P \"$prefix\" -W \"$words\" -- \"$word\")\n"
         "  fi\n"
         "  if [[ $kind == files ]]; then\n"
         "    compopt -o filenames 2>/dev/null\n"
         "    mapfile -t -O \"${#COMPREPLY[@]}\" COMPREPLY < <(compgen -f -- \"$word\")\n"
         "  fi\n"
         "}\n"
         "complete -F " +
         function + " " + program.name + "\n";
}

}  // namespace marrowfin
