#include "tools/program/TerminalText.h"

#include <cstdint>
#include <cstdio>

namespace marrowfin {
namespace {

constexpr size_t LONGEST_LINE = 65536;

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
  return first == 0xc2 && byte(at + 1) < 0xa0 ? 0 : length;
}

}  // namespace

std::string Printable(const std::string& text) {
  std::string printable;
  for (size_t at = 0; at < text.size();) {
    const size_t length = CharacterAt(text, at);
    if (length == 0) {
      char escaped[5];
      std::snprintf(escaped, sizeof(escaped), "\\x%02x", static_cast<uint8_t>(text[at]));
      printable += escaped;
      ++at;
    } else {
      printable.append(text, at, length);
      at += length;
    }
  }
  return printable;
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
