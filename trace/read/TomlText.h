#ifndef TRACE_READ_TOMLTEXT_H
#define TRACE_READ_TOMLTEXT_H

#include <cstddef>
#include <string>
#include <string_view>

namespace marrowfin {

// A text of TOML as the library that parses it can be trusted with it.
//
// The library takes any text, but not without harm: characters beyond ASCII at places where no text
// of TOML has them are undefined behaviour (U+00A1 to U+0499), so are a header of a table without a
// name, a date that is none and a wrong bracket, and it calls itself for each part of a dotted key
// until the stack is used up. So texts of such a structure, and all dates that are not in quotes,
// are refused here, and what is beyond ASCII is rewritten: the parser never sees it, and whoever
// takes a text out of what it made has it rewritten back.
class TomlText {
 public:
  explicit TomlText(std::string_view text);

  // Why the text is not to be parsed, without a full stop, and on which line; empty where it may.
  const std::string& Wrong() const { return wrong; }
  size_t Line() const { return line; }  // counted from 1

  // What the parser may see: lines and keys are those of the text.
  const std::string& Ascii() const { return ascii; }

  // A text that the parser found, as it stood there.
  std::string Original(std::string_view found) const;

 private:
  void Refuse(std::string_view before, const std::string& reason);
  void Rewrite(std::string_view text);
  void CheckStructure();

  std::string wrong;
  size_t line = 0;
  std::string ascii;
  char mark = '\0';  // before the two digits of a byte beyond ASCII; none where there are none
};

}  // namespace marrowfin

#endif
