#ifndef CONVERT_IMPORT_LINENUMBERS_H
#define CONVERT_IMPORT_LINENUMBERS_H

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace marrowfin {

// Numbers out of lines of text. Threads: functions that any number may call at a time.

// All of the text as a number in decimal digits; nothing where it is none, or too large.
template <class Number>
std::optional<Number> WholeNumber(std::string_view text) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && !text.empty()
             ? std::optional(value)
             : std::nullopt;
}

// The words of a line, which blanks and tabs part.
inline void SplitAtBlanks(std::string_view line, std::vector<std::string_view>& words) {
  constexpr std::string_view BLANKS = " \t";
  words.clear();
  for (size_t begin = line.find_first_not_of(BLANKS); begin != std::string_view::npos;) {
    const size_t end = line.find_first_of(BLANKS, begin);
    words.push_back(line.substr(begin, end - begin));
    begin = line.find_first_not_of(BLANKS, end);
  }
}

// The runs of digits of a line, whatever stands between.
inline void SplitAtDigits(std::string_view line, std::vector<std::string_view>& runs) {
  constexpr std::string_view DIGITS = "0123456789";
  runs.clear();
  for (size_t begin = line.find_first_of(DIGITS); begin != std::string_view::npos;) {
    const size_t end = line.find_first_not_of(DIGITS, begin);
    runs.push_back(line.substr(begin, end - begin));
    begin = line.find_first_of(DIGITS, end);
  }
}

// Whether a line tells of no event: it is blank, or a remark.
inline bool IsRemark(std::string_view line) {
  const size_t first = line.find_first_not_of(" \t");
  return first == std::string_view::npos || line[first] == '#';
}

}  // namespace marrowfin

#endif
