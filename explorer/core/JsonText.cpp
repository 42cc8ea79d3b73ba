#include "explorer/core/JsonText.h"

#include <array>
#include <charconv>
#include <cmath>

#include "trace/base/Utf8.h"

namespace marrowfin {
namespace {

void AddEscaped(char character, std::string& text) {
  constexpr char DIGITS[] = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(character);
  if (character == '"' || character == '\\') {
    text += '\\';
    text += character;
  } else if (byte < 0x20) {
    text += "\\u00";
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 15];
  } else {
    text += character;
  }
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char character : AsUtf8(text)) {
    AddEscaped(character, quoted);
  }
  return quoted + '"';
}

}  // namespace

JsonText& JsonText::Key(std::string_view name) {
  Separate();
  text += Quoted(name) + ':';
  keyed = true;
  return *this;
}

JsonText& JsonText::Begin(char bracket) {
  Separate();
  text += bracket;
  open.push_back(bracket == '{' ? '}' : ']');
  first = true;
  return *this;
}

JsonText& JsonText::End() {
  text += open.back();
  open.pop_back();
  first = false;
  return *this;
}

JsonText& JsonText::Real(double number) {
  if (!std::isfinite(number)) {
    return Null();
  }
  std::array<char, 32> digits;
  const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return Value({digits.data(), static_cast<size_t>(written.ptr - digits.data())});
}

JsonText& JsonText::Text(std::string_view value) { return Value(Quoted(value)); }

JsonText& JsonText::At(Place place) { return Array().Number(place.column).Number(place.row).End(); }

JsonText& JsonText::Value(std::string_view value) {
  Separate();
  text += value;
  return *this;
}

void JsonText::Separate() {
  if (!keyed && !first) {
    text += ',';
  }
  keyed = false;
  first = false;
}

}  // namespace marrowfin
