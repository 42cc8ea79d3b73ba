#include "measure/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace marrowfin {
namespace {

// `value` with so many digits behind the point, where no locale changes it.
std::string Fixed(double value, int decimals) {
  char text[400];
  const std::to_chars_result end =
      std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, decimals);
  return {text, end.ptr};
}

// Commas between groups of three digits before the point.
std::string Grouped(std::string text) {
  const size_t point = text.find('.');
  for (size_t at = point == std::string::npos ? text.size() : point; at > 3;) {
    at -= 3;
    text.insert(at, ",");
  }
  return text;
}

}  // namespace

std::string CountText(uint64_t count) { return Grouped(std::to_string(count)); }

uint64_t WholeOf(double value) {
  constexpr double END = 18446744073709551616.0;  // 2^64
  return value < END ? static_cast<uint64_t>(std::max(value, 0.0)) : ~uint64_t{0};
}

std::string ThreeDigits(double value) {
  constexpr double LEAST = 1e-290;  // of smaller ones three digits cannot be told apart
  if (!std::isfinite(value)) {
    return value != value ? "–" : value > 0 ? "∞" : "−∞";
  }
  if (std::abs(value) < LEAST) {
    return "0";
  }
  if (value < 0) {
    return "−" + ThreeDigits(-value);
  }
  // Rounded to three digits first, so that 999.6 becomes 1,000 and not 1000.0.
  const int magnitude = static_cast<int>(std::floor(std::log10(value)));
  const double unit = std::pow(10.0, magnitude - 2);
  const double rounded = std::round(value / unit) * unit;
  if (value < 1000 && value == std::floor(value)) {
    return Fixed(value, 0);
  }
  const int places = 2 - static_cast<int>(std::floor(std::log10(rounded) + 1e-9));
  return Grouped(Fixed(rounded, places > 0 ? places : 0));
}

std::string PercentText(double share) { return ThreeDigits(share * 100) + " %"; }

std::string PlaceText(uint32_t column, uint32_t row) {
  return "(" + std::to_string(column) + ", " + std::to_string(row) + ")";
}

std::string CountOf(uint64_t count, const std::string& word) {
  return CountText(count) + " " + word + (count == 1 ? "" : "s");
}

std::string AmountOf(double amount, const std::string& word) {
  const std::string text = ThreeDigits(amount);
  return text + " " + word + (text == "1" ? "" : "s");
}

}  // namespace marrowfin
