#ifndef TOOLS_PROGRAM_CSVLINES_H
#define TOOLS_PROGRAM_CSVLINES_H

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

namespace marrowfin {

// A name as a cell: in quotes, those within doubled.
inline std::string Quoted(const std::string& name) {
  std::string text = "\"";
  for (const char character : name) {
    text += character == '"' ? "\"\"" : std::string(1, character);
  }
  return text + "\"";
}

// Lines of values, commas between them. Reals have as many digits as tell them from all others;
// what is not there is empty. Words hold no commas.
class CsvLines {
 public:
  explicit CsvLines(const std::string& names) : text(names + "\n") {}

  template <class... Values>
  void Add(const Values&... values) {
    (Put(values), ...);
    text.back() = '\n';
  }

  std::string text;

 private:
  void Put(double value) {
    char digits[64];
    text.append(digits, std::to_chars(digits, digits + sizeof(digits), value).ptr);
    text += ',';
  }
  void Put(uint64_t value) { text += std::to_string(value) + ","; }
  void Put(uint32_t value) { Put(uint64_t{value}); }
  void Put(int64_t value) { text += std::to_string(value) + ","; }
  void Put(const char* word) { text += std::string(word) + ","; }
  template <class Value>
  void Put(const std::optional<Value>& value) {
    if (value) {
      Put(*value);
    } else {
      text += ',';
    }
  }
};

}  // namespace marrowfin

#endif
