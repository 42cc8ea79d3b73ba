#include "Util/CommandLineParser.h"

#include <fcntl.h>
#include <regex.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "Util/AppendFormat.h"
#include "Util/SimOutput.h"

namespace {

typedef CommandLineParser::OptionType OptionType;

bool IsKnown(OptionType type) {
  return type > CommandLineParser::INVALID && type <= CommandLineParser::VECTOR_OF_BOOL;
}

bool IsList(OptionType type) { return IsKnown(type) && type % 2 == 0; }

bool IsItem(OptionType type) { return IsKnown(type) && type % 2 == 1; }

OptionType ItemOf(OptionType list) { return static_cast<OptionType>(list - 1); }

// The value of a word, one operation for every type of item.

template <class Number>
void Read(const std::string& word, Number& value) {
  if constexpr (std::is_floating_point_v<Number>) {
    value = static_cast<Number>(strtod(word.c_str(), nullptr));
  } else if constexpr (std::is_signed_v<Number>) {
    value = static_cast<Number>(strtoll(word.c_str(), nullptr, 0));
  } else {
    value = static_cast<Number>(strtoull(word.c_str(), nullptr, 0));
  }
}

void Read(const std::string& word, std::string& value) { value = word; }

// Never released. In a function of its own, which keeps a name in every build: the search for leaks
// passes over what is allocated here and over nothing else of an option.
[[gnu::noinline]] char* NewCStringThatStays(const std::string& word) {
  return strdup(word.c_str());
}

// The copy that was there before is left alone: the library cannot know who else uses it.
void Read(const std::string& word, char*& value) { value = NewCStringThatStays(word); }

void Read(const std::string& word, bool& value) { value = strcasecmp(word.c_str(), "true") == 0; }

// Appends a value behind the text `front`, one operation for every type of item. The two 64-bit
// types print through each other's conversion, on purpose: see docs/limits.md.

void Append(std::string& s, const char* front, signed char v) {
  AppendFormat(s, "%s%hhd", front, v);
}

void Append(std::string& s, const char* front, unsigned char v) {
  AppendFormat(s, "%s%hhu", front, v);
}

void Append(std::string& s, const char* front, unsigned int v) {
  AppendFormat(s, "%s%u", front, v);
}

void Append(std::string& s, const char* front, int v) { AppendFormat(s, "%s%d", front, v); }

void Append(std::string& s, const char* front, unsigned long long v) {
  AppendFormat(s, "%s%lld", front, static_cast<long long>(v));
}

void Append(std::string& s, const char* front, long long v) {
  AppendFormat(s, "%s%llu", front, static_cast<unsigned long long>(v));
}

void Append(std::string& s, const char* front, double v) { AppendFormat(s, "%s%f", front, v); }

void Append(std::string& s, const char* front, const std::string& v) {
  AppendFormat(s, "%s\"%s\"", front, v.c_str());
}

void Append(std::string& s, const char* front, const char* v) { AppendFormat(s, "%s%s", front, v); }

void Append(std::string& s, const char* front, bool v) {
  AppendFormat(s, "%s%s", front, v ? "true" : "false");
}

// The elements one piece each, with commas between them.
template <class Item>
void AppendList(std::string& s, const std::vector<Item>& list) {
  if (list.empty()) {
    s += "<empty>";
  }
  const char* front = "";
  for (typename std::vector<Item>::const_reference element : list) {
    Append(s, front, element);
    front = ",";
  }
}

}  // namespace

CommandLineParser::Option::Option() : type(INVALID), storage(nullptr) {}

CommandLineParser::Option::Option(OptionType aType, const char* aName, const char* desc, void* s)
    : type(aType), name(aName), fullName(aName), description(desc), storage(s) {}

std::string CommandLineParser::Option::GetName() const { return fullName; }

bool CommandLineParser::Option::Parse(CommandLine* cmdLine, int index) {
  if (!IsKnown(type)) {
    SIM_CRASH("Illegal Type");
  }
  const unsigned int valueIndex = static_cast<unsigned int>(index) + 1;
  return Parse(valueIndex < cmdLine->size() ? (*cmdLine)[valueIndex] : std::string());
}

bool CommandLineParser::Option::Parse(std::string value) {
  if (!IsKnown(type)) {
    SIM_CRASH("Illegal Type");
  }
  return IsList(type) ? ParseList(value, type, storage) : ParseItem(value, type, storage);
}

bool CommandLineParser::Option::ParseItem(std::string s, OptionType type, void* storage) {
  if (!IsItem(type)) {
    SIM_CRASH("Illegal Type");
  }
  OptionVariables::WithItem(type,
                            [&]<class Item>(Item*) { Read(s, *static_cast<Item*>(storage)); });
  return true;
}

bool CommandLineParser::Option::ParseList(std::string s, OptionType type, void* l) {
  if (!IsList(type)) {
    SIM_CRASH("Illegal Type");
  }
  bool parsed = true;
  size_t start = 0;
  bool last = false;
  while (!last) {
    const size_t comma = s.find(',', start);
    last = comma == std::string::npos;
    const std::string word = s.substr(start, last ? std::string::npos : comma - start);
    start = comma + 1;
    OptionVariables::WithItem(ItemOf(type), [&]<class Item>(Item*) {
      Item item{};
      parsed &= ParseItem(word, ItemOf(type), &item);
      static_cast<std::vector<Item>*>(l)->push_back(item);
    });
  }
  return parsed;
}

const char* CommandLineParser::Option::ToString(std::string& s) const {
  if (!IsKnown(type)) {
    SIM_CRASH("Illegal option type.");
  }
  // Up to a null character in the name, as printf takes it.
  const std::string front = fullName.substr(0, fullName.find('\0')) + " ";
  s.clear();
  if (IsList(type)) {
    s = front;
    OptionVariables::WithItem(ItemOf(type), [&]<class Item>(Item*) {
      AppendList(s, *static_cast<const std::vector<Item>*>(storage));
    });
  } else {
    OptionVariables::WithItem(type, [&]<class Item>(Item*) {
      Append(s, front.c_str(), *static_cast<const Item*>(storage));
    });
  }
  return s.c_str();
}

CommandLineParser::CommandLineParser() : stopOption("--"), loadFileOption("-cmdLineFile") {}

CommandLineParser::~CommandLineParser() = default;

void CommandLineParser::SetStopOption(const char* word) { stopOption = word; }

void CommandLineParser::AddParser(CommandLineParser* p) { subParsers.push_back(p); }

void CommandLineParser::AddPrefix(const std::string& prefix) {
  for (Option& option : options) {
    const bool dashed = !option.name.empty() && option.name[0] == '-';
    option.fullName = "-" + prefix + option.name.substr(dashed ? 1 : 0);
  }
}

void CommandLineParser::CollectAllOptions(std::vector<Option>& allOptions) {
  allOptions.insert(allOptions.end(), options.begin(), options.end());
  for (CommandLineParser* subParser : subParsers) {
    subParser->CollectAllOptions(allOptions);
  }
}

std::string CommandLineParser::MunchPattern(const std::string& pattern) { return pattern; }

bool CommandLineParser::Matches(const std::string& pattern, Option& option) {
  const std::string munchedPattern = MunchPattern(pattern);
  regex_t compiled;
  const int error = regcomp(&compiled, munchedPattern.c_str(), 0);
  if (error != 0) {
    char text[128];
    regerror(error, &compiled, text, sizeof(text));
    SIM_CRASH("Faulty pattern: %d %s\n", error, text);
  }
  const std::string name = option.GetName();
  regmatch_t match;
  const bool found = regexec(&compiled, name.c_str(), 1, &match, 0) == 0;
  regfree(&compiled);
  return found && match.rm_so == 0 && match.rm_eo == static_cast<regoff_t>(name.size());
}

bool CommandLineParser::DoMatches(CommandLine* cmdLine, unsigned int index,
                                  std::vector<Option>& allOptions) {
  bool found = false;
  for (Option& option : allOptions) {
    if (Matches((*cmdLine)[index], option)) {
      found = true;
      option.Parse(cmdLine, static_cast<int>(index));
    }
  }
  return found;
}

bool CommandLineParser::DoMatches(const std::string& key, const std::string& value,
                                  std::vector<Option>& allOptions) {
  bool found = false;
  for (Option& option : allOptions) {
    if (Matches(key, option)) {
      found = true;
      option.Parse(value);
    }
  }
  return found;
}

bool CommandLineParser::ParseCommandLine(CommandLine* cmdLine, CmdLineParseMode mode) {
  std::vector<Option> allOptions;
  CollectAllOptions(allOptions);
  bool failure = false;
  for (unsigned int i = 0; i < cmdLine->size(); i += 2) {
    const std::string& word = (*cmdLine)[i];
    if (word == stopOption) {
      break;
    }
    // The load-file word names the file; the word after it is a value like any other and skipped.
    const bool applied = word == loadFileOption ? ParseFile(word, allOptions, mode)
                                                : DoMatches(cmdLine, i, allOptions);
    if (!applied && mode == MODE_STRICT) {
      const char* context = i >= 2 ? (*cmdLine)[i - 2].c_str() : "<begining of line or so>";
      File::Stderr.Print("Illegal option: %s near %s\n", word.c_str(), context);
      failure = true;
    }
  }
  return mode == MODE_STRICT ? !failure : true;
}

bool CommandLineParser::ParseFile(const std::string& fileName, std::vector<Option>& allOptions,
                                  CmdLineParseMode mode) {
  // A missing file must neither be created nor end the program without naming it, so it is tried
  // before it is opened for good.
  File probe(false);
  if (probe.Open(fileName, O_RDWR, File::DEFAULT_MODE) != File::SUCCESS) {
    SIM_CRASH("Can't open cmdline file %s\n", fileName.c_str());
  }
  probe.Close();
  File optionFile(true);
  if (optionFile.Open(fileName, File::READ_WRITE_FLAGS, File::DEFAULT_MODE) != File::SUCCESS) {
    SIM_CRASH("Can't open cmdline file %s\n", fileName.c_str());
  }
  const char* space = "\f\n\r\t\v ";
  bool applied = true;
  std::string line;
  while (applied && optionFile.Read(line, '\n') == File::SUCCESS) {
    const size_t keyStart = line.find_first_not_of(space);
    const size_t keyEnd = line.find_first_of(space, keyStart);
    const size_t valueStart = line.find_first_not_of(space, keyEnd);
    const size_t valueEnd = line.find_first_of(space, valueStart);
    const std::string key = line.substr(keyStart, keyEnd - keyStart);
    const std::string value = line.substr(valueStart, valueEnd - valueStart);
    applied = DoMatches(key, value, allOptions) || mode != MODE_STRICT;
  }
  optionFile.Close();
  return applied;
}

const char* CommandLineParser::GetUsageString(std::string& buf) {
  buf.clear();
  for (const Option& option : options) {
    buf += option.GetName() + ":  " + option.description + "\n";
  }
  for (CommandLineParser* subParser : subParsers) {
    std::string s;
    subParser->GetUsageString(s);
    buf += s;
  }
  return buf.c_str();
}

void CommandLineParser::PrintUsage(File& f) {
  std::string text;
  GetUsageString(text);
  f.Print("Usage:  \n%s\n", text.c_str());
}

void CommandLineParser::PrintOptionsAndValues(File& f) {
  for (const Option& option : options) {
    std::string text;
    f.Print("%s\n", option.ToString(text));
  }
  for (CommandLineParser* subParser : subParsers) {
    subParser->PrintOptionsAndValues(f);
  }
}

char** CommandLineParser::GetUnparsedArgv(CommandLine* cmdLine) {
  char** ret = new char*[cmdLine->size() + 1];
  unsigned int count = 0;
  bool foundStop = false;
  for (unsigned int i = 0; i < cmdLine->size(); ++i) {
    const std::string& word = (*cmdLine)[i];
    if (foundStop) {
      ret[count++] = strdup(word.c_str());
    } else {
      foundStop = word == stopOption;
    }
  }
  ret[count] = nullptr;
  return ret;
}

bool CommandLineParser::CheckCommandLine(CommandLine* cmdLine) {
  std::vector<Option> allOptions;
  CollectAllOptions(allOptions);
  for (unsigned int i = 0; i < cmdLine->size(); i += 2) {
    const std::string& word = (*cmdLine)[i];
    if (word == stopOption) {
      break;
    }
    bool known = word == loadFileOption;
    for (Option& option : allOptions) {
      known = known || Matches(word, option);
    }
    if (!known || i + 1 >= cmdLine->size()) {
      return false;
    }
  }
  return true;
}
