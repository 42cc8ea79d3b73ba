#include "Util/CommandLineParser.h"

#include <fcntl.h>
#include <regex.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "Util/AppendFormat.h"
#include "Util/SimOutput.h"

namespace {

typedef CommandLineParser::OptionType OptionType;

template <class T>
T& At(void* storage) {
  return *static_cast<T*>(storage);
}

template <class T>
const T& ValueAt(const void* storage) {
  return *static_cast<const T*>(storage);
}

template <class T>
bool AppendItem(const std::string& word, OptionType itemType, void* list) {
  T item{};
  const bool parsed = CommandLineParser::Option::ParseItem(word, itemType, &item);
  At<std::vector<T>>(list).push_back(item);
  return parsed;
}

const char* BoolName(bool value) { return value ? "true" : "false"; }

// Prints the elements of a list one piece each, separated by commas. `print` gets the text that
// goes in front of the element.
template <class T, class PrintElement>
void AppendList(std::string& s, const void* storage, PrintElement print) {
  const std::vector<T>& list = ValueAt<std::vector<T>>(storage);
  if (list.empty()) {
    s += "<empty>";
  }
  bool isFirst = true;
  for (typename std::vector<T>::const_reference element : list) {
    print(s, isFirst ? "" : ",", element);
    isFirst = false;
  }
}

}  // namespace

CommandLineParser::Option::Option() : type(INVALID), storage(nullptr) {}

CommandLineParser::Option::Option(OptionType aType, const char* aName, const char* desc, void* s)
    : type(aType), name(aName), fullName(aName), description(desc), storage(s) {}

std::string CommandLineParser::Option::GetName() const { return fullName; }

bool CommandLineParser::Option::Parse(CommandLine* cmdLine, int index) {
  if (type <= INVALID || type > VECTOR_OF_BOOL) {
    SIM_CRASH("Illegal Type");
  }
  const unsigned int valueIndex = static_cast<unsigned int>(index) + 1;
  return Parse(valueIndex < cmdLine->size() ? (*cmdLine)[valueIndex] : std::string());
}

bool CommandLineParser::Option::Parse(std::string value) {
  switch (type) {
    case INT8:
    case UINT8:
    case UINT32:
    case INT32:
    case UINT64:
    case INT64:
    case DOUBLE:
    case FLOAT:
    case STRING:
    case CSTRING:
    case BOOL:
      return ParseItem(value, type, storage);
    case VECTOR_OF_INT8:
    case VECTOR_OF_UINT8:
    case VECTOR_OF_UINT32:
    case VECTOR_OF_INT32:
    case VECTOR_OF_UINT64:
    case VECTOR_OF_INT64:
    case VECTOR_OF_DOUBLE:
    case VECTOR_OF_FLOAT:
    case VECTOR_OF_STRING:
    case VECTOR_OF_CSTRING:
    case VECTOR_OF_BOOL:
      return ParseList(value, type, storage);
    default:
      SIM_CRASH("Illegal Type");
  }
}

bool CommandLineParser::Option::ParseItem(std::string s, OptionType type, void* storage) {
  const char* word = s.c_str();
  switch (type) {
    case INT8:
      At<signed char>(storage) = static_cast<signed char>(strtoll(word, nullptr, 0));
      break;
    case UINT8:
      At<unsigned char>(storage) = static_cast<unsigned char>(strtoull(word, nullptr, 0));
      break;
    case UINT32:
      At<unsigned int>(storage) = static_cast<unsigned int>(strtoull(word, nullptr, 0));
      break;
    case INT32:
      At<int>(storage) = static_cast<int>(strtoll(word, nullptr, 0));
      break;
    case UINT64:
      At<unsigned long long>(storage) = strtoull(word, nullptr, 0);
      break;
    case INT64:
      At<long long>(storage) = strtoll(word, nullptr, 0);
      break;
    case DOUBLE:
      At<double>(storage) = strtod(word, nullptr);
      break;
    case FLOAT:
      At<float>(storage) = static_cast<float>(strtod(word, nullptr));
      break;
    case STRING:
      At<std::string>(storage) = s;
      break;
    case CSTRING:
      // The copy that was there before is left alone: the library cannot know who else uses it.
      At<char*>(storage) = strdup(word);
      break;
    case BOOL:
      At<bool>(storage) = strcasecmp(word, "true") == 0;
      break;
    default:
      SIM_CRASH("Illegal Type");
  }
  return true;
}

bool CommandLineParser::Option::ParseList(std::string s, OptionType type, void* l) {
  bool parsed = true;
  size_t start = 0;
  bool last = false;
  while (!last) {
    const size_t comma = s.find(',', start);
    last = comma == std::string::npos;
    const std::string item = s.substr(start, last ? std::string::npos : comma - start);
    start = comma + 1;
    const OptionType itemType = static_cast<OptionType>(type - 1);
    switch (type) {
      case VECTOR_OF_INT8:
        parsed &= AppendItem<signed char>(item, itemType, l);
        break;
      case VECTOR_OF_UINT8:
        parsed &= AppendItem<unsigned char>(item, itemType, l);
        break;
      case VECTOR_OF_UINT32:
        parsed &= AppendItem<unsigned int>(item, itemType, l);
        break;
      case VECTOR_OF_INT32:
        parsed &= AppendItem<int>(item, itemType, l);
        break;
      case VECTOR_OF_UINT64:
        parsed &= AppendItem<unsigned long long>(item, itemType, l);
        break;
      case VECTOR_OF_INT64:
        parsed &= AppendItem<long long>(item, itemType, l);
        break;
      case VECTOR_OF_DOUBLE:
        parsed &= AppendItem<double>(item, itemType, l);
        break;
      case VECTOR_OF_FLOAT:
        parsed &= AppendItem<float>(item, itemType, l);
        break;
      case VECTOR_OF_STRING:
        parsed &= AppendItem<std::string>(item, itemType, l);
        break;
      case VECTOR_OF_CSTRING:
        parsed &= AppendItem<char*>(item, itemType, l);
        break;
      case VECTOR_OF_BOOL:
        parsed &= AppendItem<bool>(item, itemType, l);
        break;
      default:
        SIM_CRASH("Illegal Type");
    }
  }
  return parsed;
}

const char* CommandLineParser::Option::ToString(std::string& s) const {
  s.clear();
  const char* n = fullName.c_str();
  if (type > INVALID && type <= VECTOR_OF_BOOL && type % 2 == 0) {
    AppendFormat(s, "%s ", n);
  }
  // The two 64-bit types print through each other's conversion; users' saved settings rely on it.
  switch (type) {
    case INT8:
      AppendFormat(s, "%s %hhd", n, ValueAt<signed char>(storage));
      break;
    case UINT8:
      AppendFormat(s, "%s %hhu", n, ValueAt<unsigned char>(storage));
      break;
    case UINT32:
      AppendFormat(s, "%s %u", n, ValueAt<unsigned int>(storage));
      break;
    case INT32:
      AppendFormat(s, "%s %d", n, ValueAt<int>(storage));
      break;
    case UINT64:
      AppendFormat(s, "%s %lld", n, static_cast<long long>(ValueAt<unsigned long long>(storage)));
      break;
    case INT64:
      AppendFormat(s, "%s %llu", n, static_cast<unsigned long long>(ValueAt<long long>(storage)));
      break;
    case DOUBLE:
      AppendFormat(s, "%s %f", n, ValueAt<double>(storage));
      break;
    case FLOAT:
      AppendFormat(s, "%s %f", n, static_cast<double>(ValueAt<float>(storage)));
      break;
    case STRING:
      AppendFormat(s, "%s \"%s\"", n, ValueAt<std::string>(storage).c_str());
      break;
    case CSTRING:
      AppendFormat(s, "%s %s", n, ValueAt<char*>(storage));
      break;
    case BOOL:
      AppendFormat(s, "%s %s", n, BoolName(ValueAt<bool>(storage)));
      break;
    case VECTOR_OF_INT8:
      AppendList<signed char>(s, storage, [](std::string& text, const char* comma, signed char v) {
        AppendFormat(text, "%s%hhd", comma, v);
      });
      break;
    case VECTOR_OF_UINT8:
      AppendList<unsigned char>(s, storage,
                                [](std::string& text, const char* comma, unsigned char v) {
                                  AppendFormat(text, "%s%hhu", comma, v);
                                });
      break;
    case VECTOR_OF_UINT32:
      AppendList<unsigned int>(s, storage,
                               [](std::string& text, const char* comma, unsigned int v) {
                                 AppendFormat(text, "%s%u", comma, v);
                               });
      break;
    case VECTOR_OF_INT32:
      AppendList<int>(s, storage, [](std::string& text, const char* comma, int v) {
        AppendFormat(text, "%s%d", comma, v);
      });
      break;
    case VECTOR_OF_UINT64:
      AppendList<unsigned long long>(
          s, storage, [](std::string& text, const char* comma, unsigned long long v) {
            AppendFormat(text, "%s%lld", comma, static_cast<long long>(v));
          });
      break;
    case VECTOR_OF_INT64:
      AppendList<long long>(s, storage, [](std::string& text, const char* comma, long long v) {
        AppendFormat(text, "%s%llu", comma, static_cast<unsigned long long>(v));
      });
      break;
    case VECTOR_OF_DOUBLE:
      AppendList<double>(s, storage, [](std::string& text, const char* comma, double v) {
        AppendFormat(text, "%s%f", comma, v);
      });
      break;
    case VECTOR_OF_FLOAT:
      AppendList<float>(s, storage, [](std::string& text, const char* comma, float v) {
        AppendFormat(text, "%s%f", comma, static_cast<double>(v));
      });
      break;
    case VECTOR_OF_STRING:
      AppendList<std::string>(s, storage,
                              [](std::string& text, const char* comma, const std::string& v) {
                                AppendFormat(text, "%s\"%s\"", comma, v.c_str());
                              });
      break;
    case VECTOR_OF_CSTRING:
      AppendList<char*>(s, storage, [](std::string& text, const char* comma, const char* v) {
        AppendFormat(text, "%s%s", comma, v);
      });
      break;
    case VECTOR_OF_BOOL:
      AppendList<bool>(s, storage, [](std::string& text, const char* comma, bool v) {
        AppendFormat(text, "%s%s", comma, BoolName(v));
      });
      break;
    default:
      SIM_CRASH("Illegal option type.");
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
