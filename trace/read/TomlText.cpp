#include "trace/read/TomlText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <optional>

#include "trace/base/Utf8.h"

namespace marrowfin {

namespace {

constexpr char DIGITS[] = "0123456789abcdef";

bool IsBeyondAscii(char c) { return static_cast<uint8_t>(c) >= 0x80; }

// Whether a text has a character, as it is or as one of its escapes: \u0025, \U00000025.
bool Has(std::string_view text, char c) {
  if (text.find(c) != std::string_view::npos) {
    return true;
  }
  for (size_t at = text.find("00"); at != std::string_view::npos; at = text.find("00", at + 1)) {
    unsigned code = 0;
    const std::string_view digits = text.substr(at + 2, 2);
    std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
    if (code == static_cast<unsigned>(c)) {
      return true;
    }
  }
  return false;
}

// A character that means nothing in TOML and does not stand in the text.
std::optional<char> FreeMark(std::string_view text) {
  for (const char c : std::string_view("%^~|`@$!?*;<>&")) {
    if (!Has(text, c)) {
      return c;
    }
  }
  return std::nullopt;
}

bool IsOneOf(char c, std::string_view all) { return all.find(c) != std::string_view::npos; }

// Whether what begins with a bracket at the start of a line goes on as the header of a table does,
// or in a way that the parser expects to be wrong.
bool IsHeader(std::string_view text) {
  text.remove_prefix(text.starts_with("[[") ? 2 : 1);
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const bool isName = !text.empty() && (isalnum(static_cast<unsigned char>(text[0])) != 0 ||
                                        IsOneOf(text[0], "_-\"'"));
  return text.empty() || isName || text[0] == ']';
}

// Goes through what stands outside strings and comments, character by character.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text(text) {}

  // The next one; false at the end. Of a string in quotes there is one, its first quote.
  bool Next(char& c) {
    if (at >= text.size()) {
      return false;
    }
    here = at;
    c = text[at];
    if (c == '#') {
      at = std::min(text.find('\n', at), text.size());
      return Next(c);
    }
    if (c == '"' || c == '\'') {
      SkipString(c);
    } else {
      ++at;
    }
    return true;
  }

  size_t Here() const { return here; }

 private:
  // Behind the end of the string that begins here; of one that never ends, at the end of the text,
  // where the parser does not get.
  void SkipString(char quote) {
    const std::string three(3, quote);
    const bool isLong = text.substr(at, 3) == three;
    const std::string end = isLong ? three : std::string(1, quote);
    at += end.size();
    while (at < text.size() && text.substr(at, end.size()) != end) {
      at += quote == '"' && text[at] == '\\' ? 2 : 1;
    }
    at += end.size();
    // Up to two quotes before the three that end a long one are part of it.
    for (int more = 0; isLong && more < 2 && at < text.size() && text[at] == quote; ++more) {
      ++at;
    }
    at = std::min(at, text.size());
  }

  std::string_view text;
  size_t at = 0;
  size_t here = 0;
};

// Where in the structure of a text the scanner is.
class Structure {
 public:
  // The next character, with which `rest` begins. What is wrong with it, or an empty text.
  std::string Take(char c, std::string_view rest) {
    if (c == '[' && isFirst && open.empty()) {
      isHeader = true;
      if (!IsHeader(rest)) {
        return "a table has no name";
      }
    }
    if (isValue && (c == ':' || (c == '-' && !IsOneOf(before, " \t\r\n=,[eE")))) {
      return "a date or a time stands outside of a text: put it in quotes";
    }
    if ((c == '}' || c == ']') && (open.empty() || open.back() != (c == '}' ? '{' : '['))) {
      return "a bracket ends what did not begin";
    }
    Enter(c);
    dots = c == '.' ? dots + 1 : IsOneOf(c, "=,[]{}\n") ? 0 : dots;
    if (dots > MOST || open.size() > MOST) {
      return "tables are nested more than " + std::to_string(MOST) + " deep";
    }
    isFirst = c == '\n' || (isFirst && IsOneOf(c, " \t\r"));
    before = c;
    return "";
  }

 private:
  static constexpr size_t MOST = 32;

  // Keeps the brackets that are open, and whether a value stands next.
  void Enter(char c) {
    isHeader = isHeader && c != '\n';
    if (IsOneOf(c, "[{")) {
      open += c;
    } else if (IsOneOf(c, "]}") && !open.empty()) {
      open.pop_back();
    }
    if (IsOneOf(c, "=[{]},") || (c == '\n' && open.empty())) {
      const bool isInList = !open.empty() && open.back() == '[' && !isHeader;
      isValue = c == '=' || (IsOneOf(c, "[,") && isInList);
    }
  }

  std::string open;
  size_t dots = 0;        // between the parts of a key
  bool isFirst = true;    // of its line, blanks aside
  bool isHeader = false;  // of a table, up to the end of the line
  bool isValue = false;
  char before = '\n';
};

}  // namespace

TomlText::TomlText(std::string_view text) {
  constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
  if (text.starts_with(BYTE_ORDER_MARK)) {
    text.remove_prefix(BYTE_ORDER_MARK.size());
  }
  const size_t characters = Utf8Prefix(text);
  if (characters < text.size()) {
    Refuse(text.substr(0, characters), "this is no UTF-8");
    return;
  }
  Rewrite(text);
  if (wrong.empty()) {
    CheckStructure();
  }
}

void TomlText::Refuse(std::string_view before, const std::string& reason) {
  wrong = reason;
  line = 1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
}

void TomlText::Rewrite(std::string_view text) {
  if (std::none_of(text.begin(), text.end(), IsBeyondAscii)) {
    ascii = text;
    return;
  }
  const std::optional<char> freeMark = FreeMark(text);
  if (!freeMark) {
    Refuse("", "this text has characters beyond ASCII, and each of %^~|`@$!?*;<>& as well");
    return;
  }
  mark = *freeMark;
  for (const char c : text) {
    if (IsBeyondAscii(c)) {
      ascii += {mark, DIGITS[static_cast<uint8_t>(c) >> 4], DIGITS[static_cast<uint8_t>(c) & 0xF]};
    } else {
      ascii += c;
    }
  }
}

void TomlText::CheckStructure() {
  const std::string_view text = ascii;
  Scanner scanner(text);
  Structure structure;
  for (char c; wrong.empty() && scanner.Next(c);) {
    const std::string reason = structure.Take(c, text.substr(scanner.Here()));
    if (!reason.empty()) {
      Refuse(text.substr(0, scanner.Here()), reason);
    }
  }
}

std::string TomlText::Original(std::string_view found) const {
  std::string original;
  for (size_t at = 0; at < found.size();) {
    if (mark == '\0' || found[at] != mark || found.size() - at < 3) {
      original += found[at++];
      continue;
    }
    unsigned code = 0;
    std::from_chars(&found[at + 1], &found[at + 1] + 2, code, 16);
    original += static_cast<char>(code);
    at += 3;
  }
  return original;
}

}  // namespace marrowfin
