#include "render/report/ReportParts.h"

#include <array>
#include <cstdint>
#include <cstdio>

// The bytes of the files are put into the program as they are.
__asm__(
    ".section .rodata\n"
    ".global marrowfin_report_css\n"
    "marrowfin_report_css: .incbin \"" MARROWFIN_REPORT_PARTS
    "/report.css\"\n"
    ".global marrowfin_report_css_end\n"
    "marrowfin_report_css_end:\n"
    ".global marrowfin_report_script\n"
    "marrowfin_report_script: .incbin \"" MARROWFIN_REPORT_PARTS
    "/sort.js\"\n"
    ".global marrowfin_report_script_end\n"
    "marrowfin_report_script_end:\n"
    ".previous\n");

extern "C" {
extern const char marrowfin_report_css[];
extern const char marrowfin_report_css_end[];
extern const char marrowfin_report_script[];
extern const char marrowfin_report_script_end[];
}

namespace marrowfin {
namespace {

std::string_view Part(const char* begin, const char* end) {
  return {begin, static_cast<size_t>(end - begin)};
}

std::string ColorText(Color color) {
  std::array<char, 8> text = {};
  snprintf(text.data(), text.size(), "#%02x%02x%02x", color.red, color.green, color.blue);
  return text.data();
}

uint32_t HexDigit(char digit) {
  return static_cast<uint32_t>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
}

// Hexadecimal digits, a multiple of two, as base 64.
std::string Base64OfHex(std::string_view hex) {
  constexpr std::string_view DIGITS =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (size_t at = 0; at < hex.size(); at += 6) {  // three bytes are four digits
    uint32_t bits = 0;
    for (size_t i = at; i < at + 6; ++i) {
      bits = bits << 4 | (i < hex.size() ? HexDigit(hex[i]) : 0);
    }
    const size_t bytes = hex.size() - at < 6 ? (hex.size() - at) / 2 : 3;
    for (size_t i = 0; i < 4; ++i) {
      text += i <= bytes ? DIGITS[bits >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

}  // namespace

std::string ReportStyle(const Theme& theme) {
  return ":root {\n  --paper: " + ColorText(theme.paper) + ";\n  --ink: " + ColorText(theme.ink) +
         ";\n  --mute: " + ColorText(theme.mute) + ";\n  --rule: " + ColorText(theme.rule) +
         ";\n  color-scheme: " + (theme.name == Theme::Dark().name ? "dark" : "light") + ";\n}\n" +
         std::string(Part(marrowfin_report_css, marrowfin_report_css_end));
}

std::string_view ReportScript() {
  return Part(marrowfin_report_script, marrowfin_report_script_end);
}

std::string ReportScriptHash() { return "sha256-" + Base64OfHex(MARROWFIN_SCRIPT_SHA256); }

}  // namespace marrowfin
