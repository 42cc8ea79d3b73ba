#include "sim/OptionTable.h"

#include <regex.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>

#include "Util/AppendFormat.h"

namespace marrowfin::sim {

namespace {

typedef CommandLineParser::Option Option;

const char* const BLANKS = " \f\n\r\t\v";
constexpr size_t LARGEST_FILE = 1 << 20;  // of options, in bytes: what is longer is some other file

std::string Quoted(const std::string& word) { return "`" + word + "'"; }

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(BLANKS);
  return first == std::string::npos ? ""
                                    : text.substr(first, text.find_last_not_of(BLANKS) + 1 - first);
}

bool IsNumber(CommandLineParser::OptionType type) {
  return type == CommandLineParser::UINT32 || type == CommandLineParser::UINT64;
}

bool IsWholeNumber(const std::string& word, unsigned long long most) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (word.empty() || !std::all_of(word.begin(), word.end(), isDigit)) {
    return false;
  }
  errno = 0;
  return strtoull(word.c_str(), nullptr, 10) <= most && errno == 0;
}

bool IsTruth(const std::string& word) {
  return strcasecmp(word.c_str(), "true") == 0 || strcasecmp(word.c_str(), "false") == 0;
}

// What is wrong with a value for an option of this type; empty if nothing is.
std::string FaultOfValue(CommandLineParser::OptionType type, const std::string& value) {
  switch (type) {
    case CommandLineParser::UINT32:
      return IsWholeNumber(value, 0xFFFFFFFF) ? "" : "is no whole number below 2^32";
    case CommandLineParser::UINT64:
      return IsWholeNumber(value, ~0ULL) ? "" : "is no whole number below 2^64";
    case CommandLineParser::BOOL:
      return IsTruth(value) ? "" : "is neither true nor false";
    default:
      return "";
  }
}

std::string FaultOfPattern(const std::string& word) {
  regex_t pattern;
  const int error = regcomp(&pattern, word.c_str(), REG_NOSUB);
  if (error == REG_ESPACE) {
    throw std::bad_alloc();
  }
  if (error == 0) {
    regfree(&pattern);
    return "";
  }
  char text[128];
  regerror(error, &pattern, text, sizeof(text));
  return Quoted(word) + " is no pattern: " + text;
}

// The same number without what would make it octal.
std::string WithoutLeadingZeros(const std::string& number) {
  const size_t first = number.find_first_not_of('0');
  return first == std::string::npos ? "0" : number.substr(first);
}

std::string LeftOver(const std::string& text) {
  return Quoted(text) + " behind the value is left over: an option and a value a line are wanted";
}

// Takes the value from what stands behind an option word. Returns what is wrong.
std::string TakeValue(const std::string& text, std::string& value) {
  if (text[0] != '"') {
    value = text.substr(0, text.find_first_of(BLANKS));
    const std::string rest = Trimmed(text.substr(value.size()));
    return rest.empty() ? "" : LeftOver(rest);
  }
  for (size_t end = 1; (end = text.find('"', end)) != std::string::npos; ++end) {
    // A quotation mark within a name is none that ends it.
    if (end + 1 == text.size() || isspace(static_cast<unsigned char>(text[end + 1])) != 0) {
      value = text.substr(1, end - 1);
      const std::string rest = Trimmed(text.substr(end + 1));
      return rest.empty() ? "" : LeftOver(rest);
    }
  }
  return "a quotation mark is not closed";
}

std::string ReadText(const std::string& name, std::string& text) {
  errno = 0;
  std::ifstream file(name);
  if (std::filesystem::is_directory(name)) {
    errno = EISDIR;
    file.setstate(std::ios::failbit);
  }
  if (!file) {
    return name + ": " + strerror(errno);
  }
  text.resize(LARGEST_FILE + 1);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad()) {
    return name + ": " + strerror(errno);
  }
  text.resize(static_cast<size_t>(file.gcount()));
  if (text.size() > LARGEST_FILE) {
    return name + ": too long for a file of options";
  }
  return text.find('\0') != std::string::npos ? name + ": no file of text" : "";
}

}  // namespace

OptionTable::OptionTable(CommandLineParser& root) : root(root) { root.CollectAllOptions(options); }

std::string OptionTable::FaultOf(const std::string& word, const std::string& value) {
  std::string fault = FaultOfPattern(word);
  if (!fault.empty()) {
    return fault;
  }
  bool isKnown = false;
  for (Option& option : options) {
    if (root.Matches(word, option)) {
      isKnown = true;
      fault = FaultOfValue(option.type, value);
      if (!fault.empty()) {
        return Quoted(value) + " for " + option.GetName() + " " + fault;
      }
    }
  }
  return isKnown ? "" : "there is no option " + Quoted(word);
}

std::string OptionTable::Set(const std::string& word, const std::string& value) {
  std::string fault = FaultOf(word, value);
  if (!fault.empty()) {
    return fault;
  }
  for (Option& option : options) {
    if (root.Matches(word, option)) {
      option.Parse(IsNumber(option.type) ? WithoutLeadingZeros(value) : value);
    }
  }
  return "";
}

std::string OptionTable::SetFromLine(const std::string& line) {
  const std::string text = Trimmed(line);
  const std::string word = text.substr(0, text.find_first_of(BLANKS));
  const std::string behind = Trimmed(text.substr(word.size()));
  if (behind.empty()) {
    return text.empty() ? "" : "an option and a value are wanted";
  }
  std::string value;
  const std::string fault = TakeValue(behind, value);
  return fault.empty() ? Set(word, value) : fault;
}

std::string OptionTable::Read(const std::string& fileName) {
  std::string text;
  std::string fault = ReadText(fileName, text);
  if (!fault.empty()) {
    return fault;
  }
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    fault = SetFromLine(line);
    if (!fault.empty()) {
      return fileName + ":" + std::to_string(number).append(": ").append(fault);
    }
  }
  return "";
}

std::vector<OptionTable::Entry> OptionTable::Entries() const {
  std::vector<Entry> entries;
  for (const Option& option : options) {
    const std::string name = option.GetName();
    entries.push_back({name[0] == '-' ? name : "-" + name, option.type, option.description});
  }
  return entries;
}

std::string OptionTable::Text() const {
  std::string text;
  for (const Option& option : options) {
    if (option.type == CommandLineParser::UINT64) {
      // The option's own text would be negative from 2^63 on.
      AppendFormat(text, "%s %llu\n", option.GetName().c_str(),
                   *static_cast<const unsigned long long*>(option.storage));
    } else {
      std::string line;
      text += option.ToString(line);
      text += "\n";
    }
  }
  return text;
}

}  // namespace marrowfin::sim
