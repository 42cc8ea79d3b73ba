#include "tools/program/TerminalText.h"

#include <cstdint>
#include <cstdio>

namespace marrowfin {
namespace {

constexpr size_t LONGEST_LINE = 65536;

// Whether these bytes begin with a character that turns the order of others round, so that a name
// reads as another one, or ends a line: U+061C, U+200E and U+200F, U+2028 to U+202E, U+2066 to
// U+2069.
bool TurnsOrder(uint8_t first, uint8_t second, uint8_t third) {
  if (first == 0xd8) {
    return second == 0x9c;
  }
  if (first != 0xe2) {
    return false;
  }
  return second == 0x80 ? third == 0x8e || third == 0x8f || (third >= 0xa8 && third <= 0xae)
                        : second == 0x81 && third >= 0xa6 && third <= 0xa9;
}

// The length of the character that begins at `at` and is no command to a terminal; 0 where there is
// none. Encodings that are longer than needed are let pass: they command nothing.
size_t CharacterAt(const std::string& text, size_t at) {
  const auto byte = [&](size_t i) {
    return i < text.size() ? static_cast<uint8_t>(text[i]) : uint8_t{0};
  };
  const uint8_t first = byte(at);
  if (first < 0x80) {
    return (first >= ' ' && first != 0x7f) || first == '\n' || first == '\t' ? 1 : 0;
  }
  const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : first >= 0xc0 ? 2 : 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xc0) != 0x80) {
      return 0;
    }
  }
  // The control characters U+0080 to U+009F.
  if (first == 0xc2 && byte(at + 1) < 0xa0) {
    return 0;
  }
  return TurnsOrder(first, byte(at + 1), byte(at + 2)) ? 0 : length;
}

std::string Escaped(char byte) {
  char escaped[5];
  std::snprintf(escaped, sizeof(escaped), "\\x%02x", static_cast<uint8_t>(byte));
  return escaped;
}

}  // namespace

std::string Printable(const std::string& text) {
  std::string printable;
  for (size_t at = 0; at < text.size();) {
    const size_t length = CharacterAt(text, at);
    if (length == 0) {
      printable += Escaped(text[at]);
      ++at;
    } else {
      printable.append(text, at, length);
      at += length;
    }
  }
  return printable;
}

std::string PrintableLine(const std::string& text) {
  std::string line;
  for (const char character : Printable(text)) {
    line += character == '\n' ? Escaped(character) : std::string(1, character);
  }
  return line;
}

std::string LineFor(const std::ostream& out, const std::string& text) {
  return dynamic_cast<const TerminalBuffer*>(out.rdbuf()) != nullptr ? PrintableLine(text) : text;
}

TerminalBuffer::int_type TerminalBuffer::overflow(int_type c) {
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    const char character = traits_type::to_char_type(c);
    xsputn(&character, 1);
  }
  return traits_type::not_eof(c);
}

std::streamsize TerminalBuffer::xsputn(const char* text, std::streamsize size) {
  line.append(text, static_cast<size_t>(size));
  const size_t end = line.rfind('\n');
  if (end != std::string::npos || line.size() > LONGEST_LINE) {
    const std::string whole = line.substr(0, end == std::string::npos ? line.size() : end + 1);
    line.erase(0, whole.size());
    terminal << Printable(whole);
  }
  return terminal ? size : 0;
}

int TerminalBuffer::sync() {
  terminal << Printable(line) << std::flush;
  line.clear();
  return terminal ? 0 : -1;
}

}  // namespace marrowfin
