#include "sim/Completion.h"

#include <vector>

#include "sim/Placement.h"
#include "sim/Program.h"

namespace marrowfin::sim {

namespace {

// A word of the program that is no option of its units, and what it takes.
struct OwnWord {
  const char* name;
  const char* description;
  enum { NOTHING, FILE, SHELL } takes;
};

constexpr OwnWord OWN_WORDS[] = {
    {"--settings", "print the settings and end", OwnWord::NOTHING},
    {"--options", "read options from a file", OwnWord::FILE},
    {"--completion", "print what completes command lines and end", OwnWord::SHELL},
    {"--help", "print what there is", OwnWord::NOTHING},
    {"--version", "print the version", OwnWord::NOTHING}};

constexpr char SHELLS[] = "bash zsh";

bool IsFile(const OptionTable::Entry& option) {
  return option.type == CommandLineParser::STRING && option.description.rfind("file ", 0) == 0;
}

// What an option may be set to, with blanks between; empty where that is no matter of words.
std::string WordsOf(const OptionTable::Entry& option) {
  std::string words;
  const auto add = [&](const char* name) {
    words += (words.empty() ? "" : " ") + std::string(name);
  };
  if (option.type == CommandLineParser::BOOL) {
    return "true false";
  }
  if (option.name == "-program") {
    for (const ProgramInfo& program : Programs()) {
      add(program.name);
    }
  } else if (option.name == "-placement") {
    for (const PlacementPolicy& policy : PlacementPolicies()) {
      add(policy.name);
    }
  }
  return words;
}

// A text in single quotes as shells take it, as it stands in the brackets of zsh too.
std::string InQuotes(const std::string& text) {
  std::string quoted;
  for (const char character : text) {
    if (character == '\'') {
      quoted += "'\\''";
    } else if (character == '[' || character == ']' || character == ':') {
      quoted += std::string("\\") + character;
    } else {
      quoted += character;
    }
  }
  return quoted;
}

std::string ZshLine(const std::string& name, const std::string& description,
                    const std::string& takes) {
  return "    '" + name + "[" + InQuotes(description) + "]" + takes + "' \\\n";
}

}  // namespace

std::string BashCompletion(const OptionTable& options) {
  std::string own;
  std::string all;
  std::string values;
  for (const OwnWord& word : OWN_WORDS) {
    own += (own.empty() ? "" : " ") + std::string(word.name);
  }
  for (const OptionTable::Entry& option : options.Entries()) {
    all += (all.empty() ? "" : " ") + option.name;
    const std::string words = WordsOf(option);
    if (!words.empty()) {
      values += "    " + option.name + ") words='" + words + "' ;;\n";
    } else if (IsFile(option)) {
      values += "    " + option.name + ") files=yes ;;\n";
    }
  }
  return std::string(
             "# Completion of marrowfin-sim for bash, made by: marrowfin-sim --completion bash\n"
             "_marrowfin_sim() {\n"
             "  local word=${COMP_WORDS[COMP_CWORD]} words='' files='' i=1\n"
             "  COMPREPLY=()\n"
             "  # Words of the program itself stand in front; --options=FILE comes as three "
             "words.\n"
             "  while ((i < COMP_CWORD)) && [[ ${COMP_WORDS[i]} == --* ]]; do\n"
             "    if [[ ${COMP_WORDS[i]} == --options || ${COMP_WORDS[i]} == --completion ]]; "
             "then\n"
             "      ((++i))\n"
             "      [[ ${COMP_WORDS[i]} != '=' ]] || ((++i))\n"
             "    fi\n"
             "    ((++i))\n"
             "  done\n"
             "  [[ $word != '=' ]] || word=''\n"
             "  if ((i > COMP_CWORD)); then\n"
             "    case ${COMP_WORDS[*]:0:COMP_CWORD} in\n"
             "    *--completion) words='") +
         SHELLS +
         "' ;;\n"
         "    *) files=yes ;;\n"
         "    esac\n"
         "  elif (((COMP_CWORD - i) % 2 == 1)); then\n"
         "    # The value of an option.\n"
         "    case ${COMP_WORDS[COMP_CWORD - 1]} in\n" +
         values +
         "    esac\n"
         "  else\n"
         "    words='" +
         all +
         "'\n"
         "    ((i != COMP_CWORD)) || words+=' " +
         own +
         "'\n"
         "  fi\n"
         "  if [[ -n $files ]]; then\n"
         "    compopt -o filenames 2>/dev/null\n"
         "    mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
         "  else\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
         "  fi\n"
         "}\n"
         "complete -F _marrowfin_sim marrowfin-sim\n";
}

std::string ZshCompletion(const OptionTable& options) {
  std::string lines;
  for (const OwnWord& word : OWN_WORDS) {
    const std::string takes = word.takes == OwnWord::FILE ? ":file:_files"
                              : word.takes == OwnWord::SHELL
                                  ? ":shell:(" + std::string(SHELLS) + ")"
                                  : "";
    lines += ZshLine(word.name, word.description, takes);
  }
  for (const OptionTable::Entry& option : options.Entries()) {
    const std::string words = WordsOf(option);
    lines += ZshLine(option.name, option.description,
                     IsFile(option)  ? ":file:_files"
                     : words.empty() ? ":value: "
                                     : ":value:(" + words + ")");
  }
  return "#compdef marrowfin-sim\n"
         "# Completion of marrowfin-sim for zsh, made by: marrowfin-sim --completion zsh\n"
         "_marrowfin-sim() {\n"
         "  _arguments \\\n" +
         lines +
         "    && return 0\n"
         "}\n"
         "_marrowfin-sim \"$@\"\n";
}

std::string CompletionFor(const std::string& shell, const OptionTable& options) {
  return shell == "bash" ? BashCompletion(options) : shell == "zsh" ? ZshCompletion(options) : "";
}

}  // namespace marrowfin::sim
