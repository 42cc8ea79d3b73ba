#include "render/report/HtmlText.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace marrowfin {
namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

// A character and how many bytes it takes; 0 for bytes that are none.
struct Character {
  uint32_t code = 0;
  size_t bytes = 0;
};

Character CharacterAt(std::string_view text, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[at + i]); };
  const uint8_t first = byte(0);
  const size_t bytes = first < 0x80   ? 1
                       : first < 0xC2 ? 0
                       : first < 0xE0 ? 2
                       : first < 0xF0 ? 3
                       : first < 0xF5 ? 4
                                      : 0;
  if (bytes < 2) {
    return {first, bytes};
  }
  if (text.size() - at < bytes) {
    return {};
  }
  uint32_t code = first & (0x7FU >> bytes);
  for (size_t i = 1; i < bytes; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return {};
    }
    code = code << 6 | (byte(i) & 0x3F);
  }
  constexpr std::array<uint32_t, 5> LEAST = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  return code < LEAST[bytes] || code > 0x10FFFF || surrogate ? Character() : Character{code, bytes};
}

bool IsShown(uint32_t code) {
  const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
  const bool separator = code == 0x2028 || code == 0x2029;
  const bool turning = code == 0x061C || code == 0x200E || code == 0x200F ||
                       (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  const bool none = (code & 0xFFFE) == 0xFFFE || (code >= 0xFDD0 && code <= 0xFDEF);
  return !control && !separator && !turning && !none;
}

std::string_view Entity(char character) {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return {};
  }
}

}  // namespace

std::string HtmlEscaped(std::string_view text) {
  std::string escaped;
  for (size_t at = 0; at < text.size();) {
    const Character character = CharacterAt(text, at);
    const std::string_view entity = Entity(text[at]);
    if (!entity.empty()) {
      escaped += entity;
    } else if (character.bytes == 0 || !IsShown(character.code)) {
      escaped += REPLACEMENT;
    } else {
      escaped += text.substr(at, character.bytes);
    }
    at += character.bytes == 0 ? 1 : character.bytes;
  }
  return escaped;
}

RichText& RichText::Add(std::string text) {
  spans.push_back({std::move(text), false});
  return *this;
}

RichText& RichText::Strong(std::string text) {
  spans.push_back({std::move(text), true});
  return *this;
}

std::string RichText::Plain() const {
  std::string text;
  for (const Span& span : spans) {
    text += span.text;
  }
  return text;
}

std::string RichText::Html() const {
  std::string html;
  for (const Span& span : spans) {
    html +=
        span.strong ? "<strong>" + HtmlEscaped(span.text) + "</strong>" : HtmlEscaped(span.text);
  }
  return html;
}

}  // namespace marrowfin
